#include "editor/AutoMapper.h"

#include <algorithm>
#include <cctype>

#include "import/Regex.h"
#include "lib/Text.h"
#include "model/Program.h"
#include "persist/Settings.h"
#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;

namespace {

// The first run of digits in the token: "100" and "v100" both give 100; none gives 0.
int numberIn(const std::string& token) {
    int value = 0;
    bool seen = false;
    for (char c : token) {
        if (std::isdigit(static_cast<unsigned char>(c))) {
            seen = true;
            value = std::min(value * 10 + (c - '0'), 1000);
        } else if (seen) {
            break;
        }
    }
    return value;
}

bool hasRole(const std::vector<uint8_t>& roles, uint8_t role) {
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

void applyRole(uint8_t role, const std::string& token, Group& group, bool& named, int octaveOffset) {
    Split& split = group.splits.front();
    switch (role) {
    case AutoMapper::kRoot:
    case AutoMapper::kSingleKey: {
        const uint8_t note = ZnPlug::parseNote(token, octaveOffset);
        split.setRoot(note);
        if (role == AutoMapper::kSingleKey) {
            group.setHighKey(note);
            group.setLowKey(note);
        }
        break;
    }
    case AutoMapper::kLowKey: group.setLowKey(ZnPlug::parseNote(token, octaveOffset)); break;
    case AutoMapper::kHighKey: group.setHighKey(ZnPlug::parseNote(token, octaveOffset)); break;
    case AutoMapper::kLowVelocity: group.setLowVelocity(numberIn(token)); break;
    case AutoMapper::kHighVelocity: group.setHighVelocity(numberIn(token)); break;
    case AutoMapper::kGroupName:
        group.name = named ? group.name + " " + token : token;
        named = true;
        break;
    default: break;
    }
}

// Fills the keys between neighbours that share a velocity range, as the roles leave them open.
void fillRanges(std::vector<SharedRef<Group>>& groups, bool hasLow, bool hasHigh) {
    for (std::size_t i = 0; i + 1 < groups.size(); ++i) {
        Group& g = *groups[i];
        Group& n = *groups[i + 1];
        const Split& gs = g.splits.front();
        const Split& ns = n.splits.front();
        if (gs.root() == 255 || ns.root() == 255) continue;
        if (g.range.lowVel != n.range.lowVel || g.range.highVel != n.range.highVel) continue;
        if (g.range.highKey >= n.range.lowKey) continue;
        if (hasHigh) {
            n.setLowKey(g.range.highKey + 1);
        } else if (hasLow) {
            g.setHighKey(n.range.lowKey - 1);
        } else {
            const int m = std::clamp((gs.root() + ns.root()) / 2, 0, 127);
            g.setHighKey(m);
            n.setLowKey(m + 1);
        }
    }
}

}  // namespace

AutoMapper::Options AutoMapper::Options::fromSettings(const Settings& settings) {
    Options options;
    options.octaveOffset = settings.octaveOffset;
    return options;
}

int AutoMapper::parseRole(std::string_view text) {
    for (std::size_t i = 0; i < kRoles; ++i)
        if (ZnLib::Text::iequals(text, kRoleNames[i]) || ZnLib::Text::iequals(text, kRoleLabels[i]))
            return int(i);
    if (text.size() == 1 && text[0] >= '0' && text[0] < char('0' + kRoles)) return text[0] - '0';
    return -1;
}

std::vector<std::string> AutoMapper::tokenize(std::string_view name, bool keepHyphens) {
    // Built once: the mapper splits every dropped wave's name.
    static const Regex separators("[_\\-\\s]+");
    static const Regex blanks("[_\\s]+");
    std::vector<std::string> tokens;
    std::size_t from = 0;
    (keepHyphens ? blanks : separators).forEach(name, [&](const Regex::Captures& match) {
        const std::size_t at = std::size_t(match[0].data() - name.data());
        tokens.emplace_back(name.substr(from, at - from));
        from = at + match[0].size();
    });
    if (from < name.size()) tokens.emplace_back(name.substr(from));
    return tokens;
}

std::vector<SharedRef<Group>> AutoMapper::map(const Options& options, const std::vector<SharedRef<Group>>& groups) {
    std::vector<SharedRef<Group>> result;
    for (const SharedRef<Group>& source : groups) {
        for (const Split& split : source->splits) {
            auto group = ZnLib::makeRef<Group>(*source);
            group->splits.assign(1, split);
            group->range = group->fade = KeyRange{0, 127, 0, 127};
            group->splits.front().key = 0;
            result.push_back(std::move(group));
        }
    }
    const bool hasLow = hasRole(options.tokens, kLowKey);
    const bool hasHigh = hasRole(options.tokens, kHighKey);

    for (const SharedRef<Group>& group : result) {
        const std::vector<std::string> tokens = tokenize(group->splits.front().wave()->name());
        bool named = false;
        for (std::size_t i = 0; i < tokens.size() && i < options.tokens.size(); ++i)
            applyRole(options.tokens[i], tokens[i], *group, named, options.octaveOffset);

        Split& split = group->splits.front();
        if (!options.useWaveRoot && !split.hasOverride()) split.setOverride(uint8_t(split.key), split.fine());
        if (!hasLow) group->setLowKey(split.root());
        if (!hasHigh) group->setHighKey(split.root());
    }

    std::stable_sort(result.begin(), result.end(), [](const SharedRef<Group>& a, const SharedRef<Group>& b) {
        return a->range.lowKey < b->range.lowKey;
    });
    if (!(hasLow && hasHigh)) fillRanges(result, hasLow, hasHigh);
    if (options.mergeGroups) Program::mergeGroups(result, true);
    return result;
}

}  // namespace MV
