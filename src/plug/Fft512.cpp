#include "plug/Fft512.h"

#include <kiss_fftr.h>

#include <new>

namespace ZnPlug {

struct Fft512::Impl {
    kiss_fftr_cfg config = nullptr;
    kiss_fft_cpx bins[kBins + 1];
};

Fft512::Fft512() : impl_(new Impl) {
    impl_->config = kiss_fftr_alloc(kSize, 0, nullptr, nullptr);
    if (!impl_->config) {
        delete impl_;
        throw std::bad_alloc();
    }
}

Fft512::~Fft512() {
    kiss_fftr_free(impl_->config);
    delete impl_;
}

void Fft512::transform(std::array<float, kSize>& data) noexcept {
    kiss_fftr(impl_->config, data.data(), impl_->bins);
    // The Nyquist bin has no place in this layout, as bin 0's imaginary part is always 0.
    for (int k = 0; k < kBins; ++k) {
        data[std::size_t(k)] = impl_->bins[k].r;
        data[std::size_t(kBins + k)] = impl_->bins[k].i;
    }
}

}  // namespace ZnPlug
