#pragma once
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace MV {
class Program;
}

namespace Cli {

// `morvek map WAVES... -o OUT.mvprog`: a program made of wave files (or the wave files of
// folders). By default the waves land as a drop on the keyboard mapper puts them, by their roots;
// --fixed, --step, --low and --high give the other drops, --layers stacks them as velocity
// layers, --slices lays one sliced wave's slices over the keys, and --tokens (or --preset) maps
// them by the tokens of their names through the auto mapper. Every wave is read before anything
// is written; the key map is printed as a table, and the program saved with the document writer.
class MapCommand {
public:
    // Adds "map" to `app`.
    explicit MapCommand(CLI::App& app);
    bool parsed() const;
    // [ui-thread] Runs what was parsed; failures are thrown with the product's texts.
    int run();

private:
    CLI::App* map_ = nullptr;
    std::vector<std::string> inputs_;
    std::string out_;
    std::string name_;
    std::string tokens_;
    std::string preset_;
    std::string savePreset_;
    std::string low_;
    std::string high_;
    int step_ = 1;
    bool fixed_ = false;
    bool layers_ = false;
    bool merge_ = false;
    bool slices_ = false;
    bool noWaveRoot_ = false;
};

// The key map of a program as a table: a line per split with its keys, velocities, root, group
// (number and name) and wave. Note names with `octaveOffset` as the settings give it.
std::string keyMapTable(const MV::Program& program, int octaveOffset);

}  // namespace Cli
