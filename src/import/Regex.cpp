#include "import/Regex.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <memory>
#include <stdexcept>

namespace MV {

namespace {

pcre2_code* asCode(void* p) { return static_cast<pcre2_code*>(p); }

struct MatchData {
    explicit MatchData(const pcre2_code* code) : data(pcre2_match_data_create_from_pattern(code, nullptr)) {
        if (!data) throw std::bad_alloc();
    }
    ~MatchData() { pcre2_match_data_free(data); }
    MatchData(const MatchData&) = delete;
    MatchData& operator=(const MatchData&) = delete;
    pcre2_match_data* data;
};

// Walks the matches as a global search does: after an empty match, the next try starts one
// character further, so that the walk always ends.
template <typename F>
void walk(const pcre2_code* code, std::string_view subject, F&& onMatch) {
    MatchData match(code);
    const auto* text = reinterpret_cast<PCRE2_SPTR>(subject.data());
    PCRE2_SIZE offset = 0;
    while (offset <= subject.size()) {
        const int rc = pcre2_match(code, text, subject.size(), offset, 0, match.data, nullptr);
        if (rc == PCRE2_ERROR_NOMATCH) return;
        if (rc < 0) throw std::runtime_error("Regular expression failed");
        const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(match.data);
        onMatch(ovector, rc);
        PCRE2_SIZE next = ovector[1];
        if (ovector[1] == ovector[0]) {
            // Step over one whole UTF-8 character.
            next = ovector[1] + 1;
            while (next < subject.size() && (static_cast<unsigned char>(subject[next]) & 0xC0) == 0x80) ++next;
        }
        offset = next;
    }
}

}  // namespace

Regex::Regex(const std::string& pattern) {
    int error = 0;
    PCRE2_SIZE errorOffset = 0;
    code_ = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.c_str()), pattern.size(), PCRE2_UTF, &error,
                          &errorOffset, nullptr);
    if (!code_) throw std::logic_error("Bad regular expression: " + pattern);
}

Regex::~Regex() { pcre2_code_free(asCode(code_)); }

void Regex::forEach(std::string_view subject, const std::function<void(const Captures&)>& onMatch) const {
    const uint32_t groups = [&] {
        uint32_t n = 0;
        pcre2_pattern_info(asCode(code_), PCRE2_INFO_CAPTURECOUNT, &n);
        return n;
    }();
    Captures captures(groups + 1);
    walk(asCode(code_), subject, [&](const PCRE2_SIZE* ovector, int rc) {
        for (uint32_t i = 0; i <= groups; ++i) {
            const bool set = int(i) < rc && ovector[2 * i] != PCRE2_UNSET;
            captures[i] = set ? subject.substr(ovector[2 * i], ovector[2 * i + 1] - ovector[2 * i]) : std::string_view();
        }
        onMatch(captures);
    });
}

std::string Regex::replaceAll(std::string_view subject, std::string_view replacement) const {
    std::string out;
    std::size_t kept = 0;
    walk(asCode(code_), subject, [&](const PCRE2_SIZE* ovector, int) {
        out.append(subject.substr(kept, ovector[0] - kept));
        out.append(replacement);
        kept = ovector[1];
    });
    out.append(subject.substr(kept));
    return out;
}

}  // namespace MV
