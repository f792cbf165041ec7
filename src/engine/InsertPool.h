#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "model/Effect.h"

namespace MV {

class Program;

// Ready insert processors, so that a note start never allocates on the audio thread: one per
// voice for each insert type that the bank's groups use, made and prepared on the interface side.
// Processors of a type are interchangeable: `update` gives one the parameters of any unit of its type.
class InsertPool {
public:
    static constexpr std::size_t kTypes = FX::InsertTypeNames.size();

    // [ui-thread] [main-lock] Makes `perType` processors of every type the programs use, and drops
    // the types they no longer use; with a new context, makes them all again.
    void prepare(const std::vector<ZnLib::SharedRef<Program>>& programs, const ZnPlug::ProcessContext& context,
                 std::size_t perType);
    // [audio-thread] [main-lock] A cleared processor for the insert: from the pool, made afresh
    // only when the pool of its type ran dry.
    ZnLib::SharedRef<FX::Insert::Processor> take(const FX::Insert& insert, const ZnPlug::ProcessContext& context);
    // [audio-thread] [main-lock] Takes a processor back that no voice runs any more.
    void give(ZnLib::SharedRef<FX::Insert::Processor>&& processor) noexcept;

    std::size_t available(int32_t type) const noexcept {
        return type > 0 && std::size_t(type) < kTypes ? free_[std::size_t(type)].size() : 0;
    }

private:
    std::array<std::vector<ZnLib::SharedRef<FX::Insert::Processor>>, kTypes> free_;
    double preparedRate_ = 0;
    int32_t preparedBlock_ = 0;
};

}  // namespace MV
