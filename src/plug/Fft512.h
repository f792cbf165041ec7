#pragma once
#include <array>

namespace ZnPlug {

// The detectors' one transform: a real FFT of fixed length 512. The output holds the real parts
// of bins 0 to 255 in 0..255 and their imaginary parts in 256..511. Work memory is made once.
class Fft512 {
public:
    static constexpr int kSize = 512;
    static constexpr int kBins = kSize / 2;

    Fft512();
    ~Fft512();
    Fft512(const Fft512&) = delete;
    Fft512& operator=(const Fft512&) = delete;

    // [any-thread] In place: 512 real samples in, 256 bins out. Allocates nothing.
    void transform(std::array<float, kSize>& data) noexcept;

private:
    struct Impl;
    Impl* impl_;
};

}  // namespace ZnPlug
