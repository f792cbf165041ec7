#include "WaveCommand.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>

#include "InstrumentLoader.h"
#include "TerminalProgress.h"
#include "WavePicture.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "persist/MVPeaksContext.h"
#include "persist/Settings.h"
#include "persist/SliceMidiFile.h"
#include "plug/Peaks.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"
#include "plug/WaveSlicer.h"

namespace Cli {

using ZnLib::Text::format;
using ZnPlug::Wave;

namespace {

void print(const std::string& s) { std::fputs(s.c_str(), stdout); }

// "START:END" in frames; an empty END is the wave's last frame.
std::pair<uint32_t, uint32_t> parseSpan(const std::string& option, const std::string& text, uint32_t frames) {
    const auto colon = text.find(':');
    long long a = 0, b = frames;
    const bool ok = colon != std::string::npos && ZnLib::Text::parseInt(text.substr(0, colon), a) &&
                    (colon + 1 == text.size() || ZnLib::Text::parseInt(text.substr(colon + 1), b));
    if (!ok) throw std::runtime_error(option + " takes START:END in frames (got \"" + text + "\")");
    if (a < 0 || b < a || b > frames)
        throw std::runtime_error(format("%s %s lies outside the wave's %u frames", option.c_str(), text.c_str(),
                                        unsigned(frames)));
    return {uint32_t(a), uint32_t(b)};
}

ZnPlug::LoopMode parseMode(const std::string& text) {
    for (std::size_t i = 0; i < ZnPlug::kLoopModeNames.size(); ++i)
        if (ZnLib::Text::iequals(text, ZnPlug::kLoopModeNames[i])) return ZnPlug::LoopMode(i);
    throw std::runtime_error("Illegal value");
}

std::string pitchText(const ZnPlug::DetectedPitch& p) {
    if (p.key == 255) return "none";
    return format("%s (%u), %+d cents", ZnPlug::noteName(p.key, 0).c_str(), unsigned(p.key), int(p.fine));
}

std::string temposText(const std::vector<float>& tempos) {
    if (tempos.empty()) return "none";
    std::string s;
    for (float t : tempos) s += (s.empty() ? "" : ", ") + format("%.2f", double(t));
    return s + " BPM (best first)";
}

std::string slicesText(const Wave& w) {
    std::string s;
    const double rate = w.sampleRate ? w.sampleRate : 44100;
    for (const ZnPlug::Loop& l : w.loops) {
        if (!l.isSlice()) continue;
        s += format("  %-9s %9.4f s  frames %u..%u%s\n", l.nameText().c_str(), l.start / rate, unsigned(l.start),
                    unsigned(l.end), l.mode == ZnPlug::LoopMode::PinnedSlice ? "  (pinned)" : "");
    }
    return s;
}

// The overview for a picture: the wave's own pyramid when it is long enough for one.
ZnLib::SharedRef<ZnPlug::Peaks> pictureOverview(const Wave& w) {
    return w.frames() >= ZnPlug::Peaks::kMinFrames ? ZnPlug::Peaks::build(w) : ZnLib::SharedRef<ZnPlug::Peaks>();
}

}  // namespace

std::string detectionReport(const Wave& wave, uint32_t cutoffHz, float threshold) {
    TerminalProgress bar("Detecting");
    const uint32_t minDistance = wave.sampleRate / 10;
    const auto onsets = ZnPlug::detectOnsets(wave, minDistance, cutoffHz, threshold, std::ref(bar));
    bar.done();
    const double rate = wave.sampleRate ? wave.sampleRate : 44100;
    std::string s = format("onsets: %zu\n", onsets.size());
    for (const ZnPlug::Onset& o : onsets)
        s += format("  %9.4f s  frame %u  strength %.3f\n", o.position / rate, unsigned(o.position),
                    double(o.strength));
    s += "tempos: " + temposText(ZnPlug::detectTempos(wave, onsets)) + "\n";
    s += "pitch: " + pitchText(ZnPlug::detectPitch(wave)) + "\n";
    return s;
}

WaveCommand::WaveCommand(CLI::App& app) {
    wave_ = app.add_subcommand("wave", "Work on a wave file: edit it, detect its onsets, tempo and pitch, slice it, "
                                       "or make its peak overview");
    wave_->require_subcommand(1);

    edit_ = wave_->add_subcommand(
        "edit", "Apply editing operations in the order given and write the result. Each works on the play "
                "range (the whole wave, or what --range set last)");
    edit_->add_option("IN", in_, "The wave file to read")->required();
    edit_->add_option("-o,--output", out_, "The WAV file to write; replaced only when the save succeeds")->required();
    const auto flag = [this](const char* name, const char* help) {
        return edit_->add_flag(std::string(name))->description(help);
    };
    // An option that may come again: each time with one value, all of them kept in order.
    const auto many = [](CLI::Option* o) {
        return o->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    };
    many(edit_->add_option("--range", ranges_, "START:END: the play range, in frames, for the operations after it"));
    flag("--normalize", "Scale the range so that its peak is full scale");
    flag("--dc-remove", "Take the DC offset out of the range");
    flag("--trim", "Keep only the range");
    flag("--cut", "Remove the range");
    flag("--reverse", "Reverse the wave up to the range's end");
    flag("--reverse-range", "Reverse the range");
    flag("--mono-stereo", "A mono wave becomes stereo, a stereo wave mono");
    flag("--swap", "Swap left and right");
    many(edit_->add_option("--boost", boosts_, "DB: gain for the range, in dB"));
    many(edit_->add_option("--add-loop", addLoops_, "START:END[:MODE]: a new loop (mode Forward unless given)"));
    many(edit_->add_option("--crossfade-loop", crossfades_, "INDEX: crossfade the loop of that number (from 0) "
                                                            "over --size frames"));
    sizeOption_ = edit_->add_option("--size", crossfadeSize_, "Crossfade length in frames for --crossfade-loop");
    flag("--remove-slices", "Remove the slices that are not pinned");
    flag("--detect-pitch", "Detect the pitch into the root key and fine tune");
    flag("--detect-tempo", "Detect the tempo");

    detect_ = wave_->add_subcommand("detect", "Print the onsets, the tempos (best first) and the pitch of a wave");
    detect_->add_option("IN", in_, "The wave file to read")->required();
    detect_->add_option("--cutoff", cutoffHz_, "Highest frequency in Hz that onsets are looked for in (0: all)");
    detect_->add_option("--threshold", threshold_, "How far a transient must stand out (0: the default, 3)");

    slice_ = wave_->add_subcommand(
        "slice", "Slice a wave evenly or at its beats; the slices are stored as loops of mode Slice");
    slice_->add_option("IN", in_, "The wave file to read")->required();
    slice_->add_option("-o,--output", out_, "The WAV file to write, slices included");
    CLI::Option* even = slice_->add_option("--even", evenCount_, "N: N slices of equal length");
    CLI::Option* beats = slice_->add_flag("--beats", beats_, "A slice at each onset");
    even->excludes(beats);
    slice_->add_option("--cutoff", cutoffHz_, "With --beats: highest frequency in Hz looked at (0: all)")->needs(beats);
    slice_->add_option("--threshold", threshold_, "With --beats: how far a transient must stand out (0: 3)")
        ->needs(beats);
    slice_->add_option("--to-waves", toWaves_, "DIR: write one wave per slice into this folder");
    slice_->add_option("--midi", midi_, "OUT.mid: a MIDI file that strikes the slices in time, from key 36 up");
    slice_->add_option("--png", png_, "OUT.png: a picture of the wave with its slices");

    peaks_ = wave_->add_subcommand("peaks", "Write or refresh the peak cache of a wave, as the settings place it, "
                                            "and print where it lies");
    peaks_->add_option("IN", in_, "The wave file to read")->required();
    peaks_->add_option("--png", png_, "OUT.png: a picture of the overview, with loops and slices marked");
}

bool WaveCommand::parsed() const { return wave_->parsed(); }

int WaveCommand::run() {
    if (edit_->parsed()) return runEdit();
    if (detect_->parsed()) return runDetect();
    if (slice_->parsed()) return runSlice();
    return runPeaks();
}

int WaveCommand::runEdit() {
    auto wave = loadWaveFile(in_);
    Wave& w = *wave;
    std::map<const CLI::Option*, std::size_t> used;
    // The value of the n-th occurrence of an option that takes one.
    const auto next = [&](const CLI::Option* o, const std::vector<std::string>& values) -> const std::string& {
        return values.at(used[o]++);
    };
    for (const CLI::Option* o : edit_->parse_order()) {
        const std::string name = o->get_name();
        if (name == "--range") {
            const auto [a, b] = parseSpan(name, next(o, ranges_), w.frames());
            w.start = a;
            w.end = b;
        } else if (name == "--normalize") {
            const uint8_t before = w.flags;
            w.normalize();
            if (w.flags == before && !(before & (ZnPlug::kWaveNormalized | ZnPlug::kWaveChanged)))
                std::fputs("morvek: --normalize: the range is silent and stays as it is\n", stderr);
        } else if (name == "--dc-remove") {
            w.removeDc();
        } else if (name == "--trim") {
            w.crop(false);
        } else if (name == "--cut") {
            w.cut();
        } else if (name == "--reverse") {
            w.reverse(0, 0xFFFFFFFF);
        } else if (name == "--reverse-range") {
            w.reverse(w.start, w.end);
        } else if (name == "--mono-stereo") {
            if (w.channels() > 2) throw std::runtime_error("--mono-stereo needs a wave of one or two channels");
            w.channels() == 1 ? w.toStereo() : w.toMono();
        } else if (name == "--swap") {
            if (w.channels() != 2) throw std::runtime_error("--swap needs a wave of two channels");
            w.swapChannels();
        } else if (name == "--boost") {
            double db = 0;
            const std::string& text = next(o, boosts_);
            if (!ZnLib::Text::parseDouble(text, db))
                throw std::runtime_error("--boost takes dB (got \"" + text + "\")");
            w.boost(float(std::pow(10.0, db / 20.0)));
        } else if (name == "--add-loop") {
            const std::string& text = next(o, addLoops_);
            const auto second = text.find(':', text.find(':') + 1);
            const auto [a, b] = parseSpan(name, text.substr(0, second), w.frames());
            const auto mode =
                second == std::string::npos ? ZnPlug::LoopMode::Forward : parseMode(text.substr(second + 1));
            w.loops.emplace_back(a, b, mode);
        } else if (name == "--crossfade-loop") {
            const std::string& text = next(o, crossfades_);
            long long index = -1;
            if (!ZnLib::Text::parseInt(text, index) || index < 0 || std::size_t(index) >= w.loops.size())
                throw std::runtime_error("The wave has no loop " + text);
            if (sizeOption_->count() == 0) throw std::runtime_error("--crossfade-loop needs --size");
            const ZnPlug::Loop& l = w.loops[std::size_t(index)];
            w.crossfadeLoop(l.start, l.end, crossfadeSize_);
        } else if (name == "--remove-slices") {
            w.removeSlices();
        } else if (name == "--detect-pitch") {
            const ZnPlug::DetectedPitch p = ZnPlug::detectPitch(w);
            print("pitch: " + pitchText(p) + "\n");
            if (p.key != 255) {
                w.root = p.key;
                w.fine = p.fine;
            }
        } else if (name == "--detect-tempo") {
            TerminalProgress bar("Detecting");
            print("tempos: " + temposText(ZnPlug::detectTempo(w, 0, 0, std::ref(bar))) + "\n");
        }
    }
    w.saveAs(out_);
    print(format("Wrote %s: %u frames, %u channels, %zu loops\n", out_.c_str(), unsigned(w.frames()),
                 unsigned(w.channels()), w.loops.size()));
    return 0;
}

int WaveCommand::runDetect() {
    auto wave = loadWaveFile(in_);
    print(detectionReport(*wave, cutoffHz_, threshold_));
    return 0;
}

int WaveCommand::runSlice() {
    if (evenCount_ == 0 && !beats_) throw std::runtime_error("Give --even N or --beats");
    if (out_.empty() && toWaves_.empty() && midi_.empty() && png_.empty())
        throw std::runtime_error("Nothing to write: give -o, --to-waves, --midi or --png");
    auto wave = loadWaveFile(in_);
    Wave& w = *wave;
    if (beats_) {
        TerminalProgress bar("Slicing");
        ZnPlug::sliceByBeats(w, cutoffHz_, threshold_, std::ref(bar));
    } else {
        ZnPlug::sliceEvenly(w, evenCount_);
    }
    std::size_t count = 0;
    for (const ZnPlug::Loop& l : w.loops) count += l.isSlice();
    print(format("%s: %zu slices", in_.c_str(), count) +
          (w.tempo > 0 ? format(", tempo %.2f BPM", double(w.tempo)) : std::string()) + "\n" + slicesText(w));
    if (!midi_.empty()) {
        const MV::SliceMidiFile midi(w, nullptr, 0);
        const ZnLib::MappedFile bytes(midi.path());
        ZnLib::FS::replaceFile(midi_, bytes.bytes());
        print("Wrote " + midi_ + "\n");
    }
    if (!out_.empty()) {
        w.saveAs(out_);
        print("Wrote " + out_ + "\n");
    }
    if (!toWaves_.empty()) {
        std::error_code ec;
        std::filesystem::create_directories(toWaves_, ec);
        std::size_t written = 0;
        for (const auto& slice : w.slicesToWaves()) {
            slice->saveAs(ZnLib::FS::join(toWaves_, slice->name() + ".wav"));
            ++written;
        }
        print(format("Wrote %zu waves into %s\n", written, toWaves_.c_str()));
    }
    if (!png_.empty()) {
        drawWavePng(w, pictureOverview(w).get(), png_);
        print("Wrote " + png_ + "\n");
    }
    return 0;
}

int WaveCommand::runPeaks() {
    auto wave = loadWaveFile(in_);
    Wave& w = *wave;
    ZnLib::SharedRef<ZnPlug::Peaks> peaks;
    if (w.frames() < ZnPlug::Peaks::kMinFrames) {
        print(format("%s: %u frames, fewer than %u: drawn from its samples, without a peak file\n", in_.c_str(),
                     unsigned(w.frames()), unsigned(ZnPlug::Peaks::kMinFrames)));
    } else {
        const MV::Settings settings;
        const MV::MVPeaksContext context(settings);
        peaks = ZnPlug::Peaks::load(w, &context);
        if (peaks) {
            print("Peak file: " + context.peakFile(w.file().path(), false) + " (up to date)\n");
        } else {
            peaks = ZnPlug::Peaks::build(w);
            const std::string name = peaks->store(w, &context);
            print(name.empty() ? "No peak file: the wave differs from its file on disk\n"
                               : "Peak file: " + name + " (written)\n");
        }
    }
    if (!png_.empty()) {
        drawWavePng(w, peaks.get(), png_);
        print("Wrote " + png_ + "\n");
    }
    return 0;
}

}  // namespace Cli
