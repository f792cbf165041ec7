#include "persist/MVSave.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <unordered_set>

#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "model/ProcessCallbacks.h"
#include "persist/MVWriter.h"
#include "persist/SaveFilter.h"
#include "persist/Settings.h"
#include "persist/XmlOut.h"
#include "plug/Wave.h"
#include "plug/WaveWriter.h"

namespace MV {

namespace fs = ZnLib::FS;
using ZnPlug::SoundItem;
using ZnPlug::Wave;

struct MVSave::Shared {
    SaveOptions options;
    std::unordered_set<const SoundItem*> saved;
    // The new files handed out in this save, so that two items of one name do not meet in one.
    std::map<std::string, const SoundItem*> claimed;
    std::size_t written = 0;
};

namespace {

// An item's name as a file name: no folder separators, never empty.
std::string fileNameOf(const std::string& name) {
    std::string out;
    for (char c : name) out += c == '/' || c == '\\' || c == '\0' ? '_' : c;
    const std::string_view trimmed = ZnLib::Text::trim(out);
    if (trimmed.empty() || trimmed == "." || trimmed == "..") return "Untitled";
    return std::string(trimmed);
}

void throwErrno(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

}  // namespace

SaveOptions SaveOptions::fromSettings(const Settings& settings, bool copyContent) {
    SaveOptions options;
    options.places = settings.places();
    options.usePlaces = settings.usePlaces;
    options.copyContent = copyContent;
    options.sampleFolder = settings.sampleFolder;
    return options;
}

MVSave::MVSave(const std::string& path, SaveFilter& filter, SaveOptions options)
    : path_(fs::normalise(path)), filter_(&filter), shared_(std::make_shared<Shared>()) {
    overwrite_ = options.copyContent;
    shared_->options = std::move(options);
    baseLength_ = path_.rfind('/') + 1;  // npos + 1 is 0: a bare name has no folder
}

MVSave::MVSave(MVSave& parent, const SoundItem& item, std::string_view extension, const std::string& subFolder,
               bool test)
    : filter_(parent.filter_), parent_(&parent), overwrite_(parent.overwrite_), shared_(parent.shared_) {
    const std::string& own = item.file().path();
    // An item written earlier in this save stays where it went.
    bool keep = shared_->saved.count(&item) != 0 && !own.empty();
    if (!keep) {
        keep = !overwrite_ && !own.empty() && fs::isRegularFile(own);
        if (keep && test) keep = ZnLib::Text::iequals(fs::extension(own), extension);
    }
    if (keep) {
        path_ = own;
        baseLength_ = parent.baseFor(path_);
    } else {
        const std::string stem = parent.folder() + subFolder + fileNameOf(item.name());
        path_ = stem + std::string(extension);
        for (int n = 2;; ++n) {
            auto it = shared_->claimed.find(path_);
            if (it == shared_->claimed.end() || it->second == &item) break;
            path_ = stem + " " + std::to_string(n) + std::string(extension);
        }
        baseLength_ = parent.folder().size();
    }
    shared_->claimed.emplace(path_, &item);
}

MVSave::~MVSave() = default;

std::size_t MVSave::written() const noexcept { return shared_->written; }

std::size_t MVSave::baseFor(const std::string& path) const {
    const std::string dir = folder();
    if (!dir.empty() && path.compare(0, dir.size(), dir) == 0) return dir.size();
    if (shared_->options.usePlaces) {
        for (std::string root : shared_->options.places) {
            root = fs::normalise(root);
            if (root.empty()) continue;
            if (root.back() != '/') root += '/';
            if (path.compare(0, root.size(), root) == 0) return root.size();
        }
    }
    return 0;
}

const MVSave& MVSave::outermost() const { return parent_ ? parent_->outermost() : *this; }

std::string MVSave::waveSubFolder() const {
    switch (shared_->options.sampleFolder) {
        case 0: return {};
        case 2: return fs::stem(outermost().path_) + "_Samples/";
        default: return "Samples/";
    }
}

bool MVSave::needsWrite(const SoundItem& item) const {
    return !fs::isRegularFile(path_) || item.file().empty() || item.modified() || overwrite_ ||
           item.file().path() != path_;
}

bool MVSave::mayWrite(SoundItem& item) {
    if (path_.empty() || !fs::exists(path_) || item.file().empty()) return true;
    bool ask = false;
    if (item.file().path() == path_) {
        ask = item.file().changedOnDisk();
    } else {
        uint64_t time = 0, size = 0;
        ask = fs::File::stat(path_, time, size) && time > item.file().time();
    }
    if (!ask) return true;
    std::string answer = path_;
    if (!filter_->askOverwrite(answer, item, true)) return false;
    if (answer != path_) {
        path_ = fs::normalise(answer);
        baseLength_ = parent_ ? parent_->baseFor(path_) : path_.rfind('/') + 1;
    }
    return true;
}

void MVSave::writeFile(const std::string& text) const {
    const std::vector<uint8_t> bytes = XmlOut::utf16(text);
    const std::string dir = folder();
    if (!dir.empty()) {
        std::error_code error;
        std::filesystem::create_directories(dir, error);
        if (error) throw std::runtime_error("Could not create folder " + dir + ": " + error.message());
    }
    // Beside the target, so that the rename cannot cross file systems; the old file stays until
    // the new one is whole.
    std::string temp = path_ + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) throwErrno("Could not create " + temp);
    try {
        ::fchmod(fd, 0644);
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) throwErrno("Could not write to file");
            done += std::size_t(n);
        }
        if (::close(fd) != 0) {
            ::unlink(temp.c_str());
            throwErrno("Could not write to file");
        }
    } catch (...) {
        ::close(fd);
        ::unlink(temp.c_str());
        throw;
    }
    if (::rename(temp.c_str(), path_.c_str()) != 0) {
        const int cause = errno;
        ::unlink(temp.c_str());
        errno = cause;
        throwErrno("Could not replace " + path_);
    }
}

template <typename Item, typename Write>
void MVSave::saveDocument(Item& item, const char* suffix, Write write) {
    if (shared_->saved.count(&item) || !needsWrite(item) || !mayWrite(item)) return;
    shared_->claimed.emplace(path_, &item);
    const std::string oldName = item.name();
    const fs::File oldFile = item.file();
    // The item takes the name of its new file, and the document says so.
    if (path_ != oldFile.path()) item.setName(fs::stem(path_));
    filter_->process("Saving", path_);
    try {
        MVWriter writer(*this);
        writeFile(write(writer));
    } catch (const ProcessCancelled&) {
        item.setName(oldName);
        item.setFile(oldFile);
        throw;
    } catch (...) {
        item.setName(oldName);
        item.setFile(oldFile);
        ZnLib::throwWrapped("Could not save " + path_ + suffix);
    }
    item.setFile(fs::File(path_));
    item.clearModified();
    shared_->saved.insert(&item);
    ++shared_->written;
    filter_->process("Saved", path_);
}

void MVSave::save(Program& program) {
    saveDocument(program, "", [&program](MVWriter& w) { return w.program(program); });
}

void MVSave::save(Performance& performance) {
    saveDocument(performance, "", [&performance](MVWriter& w) { return w.performance(performance); });
}

void MVSave::save(WaveMatrix& matrix) {
    saveDocument(matrix, "", [&matrix](MVWriter& w) { return w.matrix(matrix); });
}

void MVSave::save(Bank& bank) {
    saveDocument(bank, " bank", [&bank](MVWriter& w) { return w.bank(bank); });
}

bool MVSave::needsWaveWrite(const Wave& wave) const {
    // Data of a SoundFont lives in a container that no document can name: it goes out as WAV.
    return overwrite_ || wave.isModified() || wave.file().empty() || wave.container;
}

void MVSave::saveWave(Wave& wave) {
    if (shared_->saved.count(&wave)) return;
    if (!needsWaveWrite(wave) && path_ == wave.file().path()) {
        shared_->saved.insert(&wave);
        return;
    }
    if (!mayWrite(wave)) return;
    filter_->process("Saving", path_);
    const std::string oldName = wave.name();
    const fs::File oldFile = wave.file();
    try {
        std::error_code error;
        std::filesystem::create_directories(folder(), error);
        if (error) throw std::runtime_error("Could not create folder " + folder() + ": " + error.message());
        if (fs::stem(path_) != oldName) wave.setName(fs::stem(path_));
        ZnPlug::WaveWriter::saveAs(wave, path_);
    } catch (const ProcessCancelled&) {
        throw;
    } catch (...) {
        wave.setName(oldName);
        wave.setFile(oldFile);
        ZnLib::throwWrapped("Could not save " + path_);
    }
    wave.setFile(fs::File(path_));
    wave.clearModified();
    shared_->saved.insert(&wave);
    ++shared_->written;
    filter_->process("Saved", path_);
}

std::string MVSave::wave(Wave& wave) {
    MVSave nested(*this, wave, ".wav", waveSubFolder(), needsWaveWrite(wave));
    nested.saveWave(wave);
    return nested.relativePath();
}

std::string MVSave::matrix(WaveMatrix& matrix) {
    MVSave nested(*this, matrix, ".mvmatrix", "", true);
    nested.save(matrix);
    return nested.relativePath();
}

std::string MVSave::program(Program& program) {
    if (program.isNone()) throw std::runtime_error("A slot without program cannot be saved");
    MVSave nested(*this, program, ".mvprog", "", true);
    nested.save(program);
    return nested.relativePath();
}

std::string MVSave::performance(Performance& performance) {
    MVSave nested(*this, performance, ".mvperf", "", true);
    nested.save(performance);
    return nested.relativePath();
}

std::string MVSave::icon(Icon& icon) {
    const std::string& own = icon.file().path();
    if (own.empty()) return icon.name();
    MVSave nested(*this, icon, fs::extension(own), "", false);
    if (nested.path_ != own && !shared_->saved.count(&icon)) {
        // A copy beside the document, when copies are asked for.
        std::error_code error;
        std::filesystem::copy_file(own, nested.path_, std::filesystem::copy_options::overwrite_existing, error);
        if (error) throw std::runtime_error("Could not copy " + own + " to " + nested.path_ + ": " + error.message());
        icon.setFile(fs::File(nested.path_));
        shared_->saved.insert(&icon);
        ++shared_->written;
    }
    return nested.relativePath();
}

}  // namespace MV
