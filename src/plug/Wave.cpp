#include "plug/Wave.h"

#include <algorithm>

#include "lib/Text.h"
#include "plug/RiffReader.h"
#include "plug/WaveReader.h"
#include "plug/WaveWriter.h"

namespace ZnPlug {

namespace {
// Bytes that the editor's memory display counts for the object itself and for one loop.
constexpr std::size_t kWaveObjectBytes = 216;
constexpr std::size_t kLoopBytes = 24;
}  // namespace

void Loop::setName(const std::string& n) {
    name.fill('\0');
    std::copy_n(n.data(), ZnLib::Text::utf8Fit(n, name.size() - 1), name.data());
}

const Loop& Loop::none() {
    static const Loop noLoop(0, 0, LoopMode::None, "<no>");
    return noLoop;
}

Wave::Wave() = default;

Wave::Wave(SampleBuffer&& samples, uint32_t rate, uint8_t bits_, uint8_t sampleType_, uint32_t format_, uint8_t root_,
           int8_t fine_, float tempo_, ZnLib::SharedRef<ZnLib::RefCounted> container_, uint32_t containerIndex_)
    : bits(bits_),
      sampleType(sampleType_),
      format(format_),
      container(std::move(container_)),
      containerIndex(containerIndex_),
      samples_(std::move(samples)) {
    sampleRate = rate;
    root = root_;
    fine = fine_;
    tempo = tempo_;
    start = 0;
    end = samples_.frames();
    normalizeRoot();
}

Wave::Wave(const std::string& name, ZnLib::ByteReader riff) : SoundItem(name) {
    RiffReader::read(riff, *this);
    normalizeRoot();
    takeFileInfo();
}

Wave::Wave(const Wave& o)
    : SoundItem(o),
      WaveInfo(o),
      bits(o.bits),
      sampleType(o.sampleType),
      format(o.format),
      fileInfo(o.fileInfo),
      container(o.container),
      containerIndex(o.containerIndex),
      peaks(o.peaks),
      samples_(o.samples_) {}

Wave::Wave(Wave&& o) noexcept
    : SoundItem(o),
      WaveInfo(std::move(o.info())),
      bits(o.bits),
      sampleType(o.sampleType),
      format(o.format),
      fileInfo(std::move(o.fileInfo)),
      container(o.container),
      containerIndex(o.containerIndex),
      peaks(std::move(o.peaks)),
      samples_(std::move(o.samples_)) {}

Wave* Wave::none() {
    // Made on first use and never freed: splits without a sample point at it to the end.
    static Wave* noneWave = [] {
        auto* w = new Wave();
        w->SoundItem::setName("<none>");
        return w;
    }();
    return noneWave;
}

void Wave::normalizeRoot() {
    int q = fine / 100;
    fine = int8_t(fine - q * 100);
    if (root != 255) root = uint8_t(std::clamp(int(root) + q, 0, 127));
}

void Wave::rename(const std::string& text) {
    setName(text);
    if (!file().path().empty()) setFile(ZnLib::FS::File(file().path()));
}

bool Wave::hasSlices() const noexcept {
    return std::any_of(loops.begin(), loops.end(), [](const Loop& l) { return l.isSlice(); });
}

Loop Wave::clampLoop(const Loop& loop) const noexcept {
    Loop out = loop;
    uint32_t n = frames();
    out.start = std::min(loop.start, n);
    out.end = loop.end >= n ? n : std::max(loop.start, loop.end);
    return out;
}

bool Wave::isModified() const {
    if (isNone()) return false;
    if (format == kFormatUnknown) return true;
    if (static_cast<const WaveInfoBase&>(fileInfo) != static_cast<const WaveInfoBase&>(*this)) return true;
    if (fileInfo.loops != loops) return true;
    return SoundItem::modified();
}

std::size_t Wave::memUsage() const {
    std::size_t bytes = (name().size() + file().path().size()) * 2;
    bytes += std::size_t(frames()) * channels() * sizeof(float);
    bytes += loops.size() * kLoopBytes;
    bytes += kWaveObjectBytes;
    constexpr std::size_t kPyramidFixedWords = 7;
    if (peaks) bytes += 4 * (peaks->size() + kPyramidFixedWords);
    return bytes;
}

bool Wave::operator==(const Wave& o) const {
    return file() == o.file() && name() == o.name() && info() == o.info() && bits == o.bits &&
           sampleType == o.sampleType && format == o.format && fileInfo == o.fileInfo && container == o.container &&
           samples_ == o.samples_;
}

void Wave::load() { WaveReader::load(*this); }

void Wave::saveAs(const std::string& path) {
    WaveWriter::saveAs(*this, path);
    // The overview describes the new file as well: its cache goes there at once.
    if (peaks) {
        try {
            peaks->store(*this);
        } catch (const std::exception&) {
            // A cache that can't be written is only built again when next asked for.
        }
    }
}

void Wave::writeRiff(RiffSink& sink) const { WaveWriter::writeRiff(*this, sink); }

}  // namespace ZnPlug
