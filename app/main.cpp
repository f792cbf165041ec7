#include <CLI/CLI.hpp>
#include <cstdio>

#include "MorvekVersion.h"

int main(int argc, char** argv) {
    CLI::App app{"Morvek: renders MIDI songs through sampler instruments"};
    app.set_version_flag("--version", std::to_string(Version::Major) + "." + std::to_string(Version::Minor) + "." +
                                          std::to_string(Version::Patch));
    CLI11_PARSE(app, argc, argv);
    std::printf("%s %d.%d.%d\n", Version::ProductName, Version::Major, Version::Minor, Version::Patch);
    return 0;
}
