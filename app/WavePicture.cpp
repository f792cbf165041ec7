#include "WavePicture.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "plug/Peaks.h"
#include "plug/Wave.h"

namespace Cli {

namespace {

constexpr int kHeader = 30;
constexpr int kAxis = 22;
constexpr int kLane = 170;
constexpr double kMaxChannelsDrawn = 8;

struct Column {
    float min = 0;
    float max = 0;
};

// Min and max of each column of one channel: from the coarsest overview level that still has an
// entry per column, else from the samples themselves.
std::vector<Column> columns(const ZnPlug::Wave& wave, const ZnPlug::Peaks* peaks, unsigned channel, int width) {
    std::vector<Column> out(static_cast<std::size_t>(width));
    const double perColumn = double(wave.frames()) / width;
    int level = -1;
    if (peaks && channel < peaks->channels())
        for (int l = ZnPlug::Peaks::kLevels - 1; l >= 0 && level < 0; --l)
            if (peaks->level(unsigned(l)).framesPerEntry <= perColumn) level = l;
    for (int x = 0; x < width; ++x) {
        const auto from = uint32_t(x * perColumn);
        const auto to = std::max(from + 1, uint32_t((x + 1) * perColumn));
        Column c{1, -1};
        if (level >= 0) {
            const ZnPlug::Peaks::Level lv = peaks->level(unsigned(level));
            const uint32_t last = std::min(lv.entries - 1, (to - 1) / lv.framesPerEntry);
            for (uint32_t i = from / lv.framesPerEntry; i <= last; ++i) {
                const ZnPlug::Peaks::Entry e = peaks->entry(unsigned(level), i, channel);
                c.min = std::min(c.min, e.min / 32768.0f);
                c.max = std::max(c.max, e.max / 32768.0f);
            }
        } else {
            const float* s = wave.channelData(channel);
            for (uint32_t f = from; f < std::min(to, wave.frames()); ++f) {
                c.min = std::min(c.min, s[f]);
                c.max = std::max(c.max, s[f]);
            }
        }
        if (c.min > c.max) c = {0, 0};
        out[std::size_t(x)] = c;
    }
    return out;
}

cairo_status_t collect(void* closure, const unsigned char* data, unsigned int length) {
    auto* bytes = static_cast<std::vector<uint8_t>*>(closure);
    bytes->insert(bytes->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

void text(cairo_t* cr, double x, double y, const std::string& s) {
    cairo_move_to(cr, x, y);
    cairo_show_text(cr, s.c_str());
}

}  // namespace

void drawWavePng(const ZnPlug::Wave& wave, const ZnPlug::Peaks* peaks, const std::string& path, int width) {
    const int lanes = int(std::min<double>(wave.channels(), kMaxChannelsDrawn));
    const int height = kHeader + lanes * kLane + kAxis;
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), cairo_surface_destroy);
    std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context(cairo_create(surface.get()), cairo_destroy);
    cairo_t* cr = context.get();
    cairo_set_source_rgb(cr, 0.11, 0.11, 0.12);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 13);

    const double frames = std::max<double>(wave.frames(), 1);
    const auto xOf = [&](double frame) { return frame / frames * width; };
    const double rate = wave.sampleRate ? wave.sampleRate : 44100;

    cairo_set_source_rgb(cr, 0.9, 0.9, 0.9);
    std::string title = ZnLib::Text::format("%s   %.3f s   %u Hz   %u ch", wave.name().c_str(), wave.frames() / rate,
                                            unsigned(wave.sampleRate), unsigned(wave.channels()));
    if (wave.tempo > 0) title += ZnLib::Text::format("   %.2f BPM", double(wave.tempo));
    text(cr, 8, 20, title);

    for (int lane = 0; lane < lanes; ++lane) {
        const double top = kHeader + lane * kLane, mid = top + kLane / 2.0, half = kLane / 2.0 - 6;
        // Outside the play range the lane is darker.
        cairo_set_source_rgb(cr, 0.16, 0.17, 0.19);
        cairo_rectangle(cr, xOf(wave.start), top + 2, xOf(std::min<double>(wave.end, frames)) - xOf(wave.start),
                        kLane - 4);
        cairo_fill(cr);
        for (const ZnPlug::Loop& l : wave.loops) {
            if (l.isSlice() || l.mode == ZnPlug::LoopMode::None) continue;
            cairo_set_source_rgba(cr, 0.3, 0.8, 0.4, 0.18);
            cairo_rectangle(cr, xOf(l.start), top + 2, std::max(1.0, xOf(l.end) - xOf(l.start)), kLane - 4);
            cairo_fill(cr);
        }
        cairo_set_source_rgb(cr, 0.35, 0.35, 0.38);
        cairo_set_line_width(cr, 1);
        cairo_move_to(cr, 0, mid + 0.5);
        cairo_line_to(cr, width, mid + 0.5);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.31, 0.76, 0.97);
        const std::vector<Column> cols = columns(wave, peaks, unsigned(lane), width);
        for (int x = 0; x < width; ++x) {
            const Column& c = cols[std::size_t(x)];
            cairo_move_to(cr, x + 0.5, mid - std::clamp(c.max, -1.0f, 1.0f) * half);
            cairo_line_to(cr, x + 0.5, mid - std::clamp(c.min, -1.0f, 1.0f) * half + 1);
        }
        cairo_stroke(cr);
        for (const ZnPlug::Loop& l : wave.loops) {
            if (!l.isSlice()) continue;
            if (l.mode == ZnPlug::LoopMode::PinnedSlice) cairo_set_source_rgb(cr, 0.95, 0.3, 0.6);
            else cairo_set_source_rgb(cr, 1.0, 0.6, 0.1);
            cairo_move_to(cr, std::floor(xOf(l.start)) + 0.5, top + 2);
            cairo_line_to(cr, std::floor(xOf(l.start)) + 0.5, top + kLane - 2);
            cairo_stroke(cr);
            if (lane == 0) text(cr, xOf(l.start) + 3, top + 14, l.nameText());
        }
    }

    // Time axis: a tick at every step that leaves room for its label.
    const double seconds = frames / rate;
    double step = 0.01;
    for (double s : {0.01, 0.02, 0.05, 0.1, 0.2, 0.25, 0.5, 1.0, 2.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0})
        if (seconds / s <= width / 90.0) {
            step = s;
            break;
        }
    const double axis = kHeader + lanes * kLane;
    cairo_set_source_rgb(cr, 0.7, 0.7, 0.7);
    for (double t = 0; t <= seconds; t += step) {
        const double x = std::floor(xOf(t * rate)) + 0.5;
        cairo_move_to(cr, x, axis);
        cairo_line_to(cr, x, axis + 5);
        cairo_stroke(cr);
        text(cr, x + 2, axis + 17, ZnLib::Text::format(step < 1 ? "%.2f s" : "%.0f s", t));
    }

    cairo_surface_flush(surface.get());
    std::vector<uint8_t> png;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), collect, &png);
    context.reset();
    surface.reset();
    // The font caches go with the picture: the command draws once, and leaves nothing behind.
    cairo_debug_reset_static_data();
    FcFini();
    if (status != CAIRO_STATUS_SUCCESS) {
        try {
            throw std::runtime_error("Could not encode the picture");
        } catch (...) {
            ZnLib::throwWrapped("Could not save " + path);
        }
    }
    ZnLib::FS::replaceFile(path, png);
}

}  // namespace Cli
