#include "engine/InsertPool.h"

#include "model/Program.h"

namespace MV {

void InsertPool::prepare(const std::vector<ZnLib::SharedRef<Program>>& programs,
                         const ZnPlug::ProcessContext& context, std::size_t perType) {
    std::array<const FX::Insert*, kTypes> used{};
    for (const auto& program : programs)
        for (const auto& group : program->groups)
            if (group->insert && group->insert->type > 0 && std::size_t(group->insert->type) < kTypes)
                used[std::size_t(group->insert->type)] = group->insert.get();

    const bool newContext = context.sample_rate != preparedRate_ || context.block_size != preparedBlock_;
    preparedRate_ = context.sample_rate;
    preparedBlock_ = context.block_size;
    for (std::size_t t = 1; t < kTypes; ++t) {
        auto& pool = free_[t];
        if (!used[t] || newContext) pool.clear();
        if (!used[t]) {
            pool.shrink_to_fit();
            continue;
        }
        // Room for every processor of the type to come back, so that give() never allocates.
        pool.reserve(perType);
        while (pool.size() < perType) pool.push_back(used[t]->createProcessor(context));
    }
}

ZnLib::SharedRef<FX::Insert::Processor> InsertPool::take(const FX::Insert& insert,
                                                         const ZnPlug::ProcessContext& context) {
    ZnLib::SharedRef<FX::Insert::Processor> processor;
    if (insert.type > 0 && std::size_t(insert.type) < kTypes && !free_[std::size_t(insert.type)].empty()) {
        auto& pool = free_[std::size_t(insert.type)];
        processor = std::move(pool.back());
        pool.pop_back();
        processor->clear();
    } else {
        processor = insert.createProcessor(context);
    }
    if (processor) processor->update(insert);
    return processor;
}

void InsertPool::give(ZnLib::SharedRef<FX::Insert::Processor>&& processor) noexcept {
    if (!processor || processor->refCount() != 1) {
        processor.reset();
        return;
    }
    const std::size_t type = std::size_t(processor->type);
    // A processor made when the pool ran dry finds no room and goes.
    if (type < kTypes && free_[type].size() < free_[type].capacity()) free_[type].push_back(std::move(processor));
    processor.reset();
}

}  // namespace MV
