#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Group.h"

namespace MV {

class Settings;

// Turns dropped waves into groups by the tokens of their names: each token position has a role
// (root, keys, velocities, group name) that the user chose. A pure function of the options and
// the groups given: no editor, no engine. To map waves of one's own:
//   std::vector<SharedRef<Group>> groups = AutoMapper::map(options, {groupHoldingTheWaves});
// and put the result into a program (through an "Assign wave" action when it is to be undone).
//
// Threads: any thread [any-thread]; it touches only what it is given.
class AutoMapper {
public:
    enum Role : uint8_t {
        kIgnore = 0,
        kRoot = 1,
        kSingleKey = 2,
        kLowKey = 3,
        kHighKey = 4,
        kLowVelocity = 5,
        kHighVelocity = 6,
        kGroupName = 7,
    };
    static constexpr std::size_t kRoles = 8;
    // The labels of the dialog, by role code.
    static constexpr std::array<const char*, kRoles> kRoleLabels = {
        "Ignore",           "Set root",          "Set single key", "Set low key", "Set high key",
        "Set low velocity", "Set high velocity", "Set group name"};
    // Short names of the roles, for the command line.
    static constexpr std::array<const char*, kRoles> kRoleNames = {
        "ignore", "root", "single-key", "low-key", "high-key", "low-vel", "high-vel", "group-name"};

    struct Options {
        std::vector<uint8_t> tokens;  // a role code per token position, left to right
        bool useWaveRoot = true;
        bool mergeGroups = false;
        int octaveOffset = 0;  // of note names, from the setting of the same name

        // octaveOffset from the settings, the rest at its defaults.
        static Options fromSettings(const Settings& settings);
        bool operator==(const Options&) const = default;
    };

    // The role of a short name or a label (without regard to case) or a code "0" to "7"; -1 else.
    static int parseRole(std::string_view text);

    // A wave's name split at runs of '_', '-' and white space; a name that starts with one gives an
    // empty first token. `keepHyphens` splits at '_' and white space only.
    static std::vector<std::string> tokenize(std::string_view name, bool keepHyphens = false);

    // Takes the groups apart into one group per split, gives each the keys, velocities, root and
    // name that the tokens of its wave's name say, sorts them by low key, fills the key ranges in
    // between, and merges them when the options say so.
    static std::vector<ZnLib::SharedRef<Group>> map(const Options& options,
                                                    const std::vector<ZnLib::SharedRef<Group>>& groups);
};

}  // namespace MV
