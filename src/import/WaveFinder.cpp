#include "import/WaveFinder.h"

#include "lib/Path.h"
#include "model/Bank.h"
#include "model/LoadFilter.h"
#include "persist/FileResolver.h"
#include "plug/Wave.h"

namespace MV {

namespace fs = ZnLib::FS;
using ZnLib::SharedRef;
using ZnPlug::Wave;

WaveFinder::WaveFinder(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string>& places,
                       const std::string& instrument)
    : bank_(bank), filter_(filter), findMissing_(findMissing), places_(places), instrument_(instrument) {}

SharedRef<Wave> WaveFinder::find(const std::string& path) {
    int placeIndex = -1;
    const fs::File file = resolve(places_, instrument_, path, findMissing_, placeIndex);
    if (SharedRef<Wave> known = bank_.existingWave(file)) return known;
    SharedRef<Wave> wave = filter_.existingWave(file);
    if (!wave) {
        wave = ZnLib::makeRef<Wave>();
        wave->setName(fs::stem(file.path()));
        wave->setFile(file);
        wave->load();
    }
    bank_.addWave(wave);
    return wave;
}

}  // namespace MV
