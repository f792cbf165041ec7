#include "editor/RestoreSet.h"

#include <algorithm>

#include "engine/Morvek.h"

namespace MV::Ui {

using ZnLib::SharedRef;

namespace {

// Calls `stop` for each item of `live` that `copy` does not hold: what a swap takes away.
template <typename T, typename Stop>
void forLeaving(const std::vector<SharedRef<T>>& live, const std::vector<SharedRef<T>>& copy, Stop stop) {
    for (const SharedRef<T>& item : live)
        if (std::find(copy.begin(), copy.end(), item) == copy.end()) stop(item.get());
}

}  // namespace

void SetOwner<std::vector<ZnPlug::Loop>>::swap(Editor& editor, Owner& wave, std::vector<ZnPlug::Loop>& live,
                                               std::vector<ZnPlug::Loop>& copy) {
    editor.engine().killVoices(&wave);
    std::swap(live, copy);
}

void SetOwner<std::vector<SharedRef<Group>>>::swap(Editor& editor, Owner& program, std::vector<SharedRef<Group>>& live,
                                                   std::vector<SharedRef<Group>>& copy) {
    (void)program;
    forLeaving(live, copy, [&](const Group* g) { editor.engine().killVoices(g); });
    std::swap(live, copy);
    editor.engine().prepareInserts();
}

void SetOwner<std::vector<SharedRef<Program>>>::swap(Editor& editor, Owner& bank, std::vector<SharedRef<Program>>& live,
                                                     std::vector<SharedRef<Program>>& copy) {
    (void)bank;
    forLeaving(live, copy, [&](const Program* p) { editor.engine().killVoices(p); });
    std::swap(live, copy);
    editor.engine().prepareInserts();
}

void SetOwner<std::vector<SharedRef<Performance>>>::swap(Editor& editor, Owner& bank,
                                                         std::vector<SharedRef<Performance>>& live,
                                                         std::vector<SharedRef<Performance>>& copy) {
    forLeaving(live, copy, [&](const Performance* p) { editor.engine().killVoices(p); });
    std::swap(live, copy);
    if (bank.hasPerformance(bank.currentPerformance) || bank.currentPerformance->isNone()) return;
    Morvek& engine = editor.engine();
    const bool playing = &bank == static_cast<Bank*>(&engine);
    if (playing && !live.empty()) return engine.setProgram(0);
    if (playing)
        for (auto& fx : bank.currentPerformance->fx)
            if (fx) fx->release();
    bank.currentPerformance = live.empty() ? Performance::none() : live.front().get();
}

void SetOwner<std::vector<SharedRef<ZnPlug::Wave>>>::swap(Editor& editor, Owner& bank,
                                                          std::vector<SharedRef<ZnPlug::Wave>>& live,
                                                          std::vector<SharedRef<ZnPlug::Wave>>& copy) {
    (void)bank;
    forLeaving(live, copy, [&](const ZnPlug::Wave* w) { editor.engine().killVoices(w); });
    std::swap(live, copy);
}

void SetOwner<std::vector<SharedRef<WaveMatrix>>>::swap(Editor& editor, Owner& bank,
                                                        std::vector<SharedRef<WaveMatrix>>& live,
                                                        std::vector<SharedRef<WaveMatrix>>& copy) {
    (void)bank;
    forLeaving(live, copy, [&](const WaveMatrix* m) { editor.engine().killVoices(m); });
    std::swap(live, copy);
}

}  // namespace MV::Ui
