#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "EngineReport.h"
#include "MorvekVersion.h"
#include "engine/Morvek.h"
#include "lib/Error.h"

namespace {

int runInfo() {
    MV::Morvek engine;
    std::fputs(Cli::engineReport(engine).c_str(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Morvek: renders MIDI songs through sampler instruments"};
    app.set_version_flag("--version", std::to_string(Version::Major) + "." + std::to_string(Version::Minor) + "." +
                                          std::to_string(Version::Patch));
    app.require_subcommand(1);
    CLI::App* info = app.add_subcommand("info", "Show what an instrument or wave file holds; without a file, "
                                                "what the engine holds by default");
    CLI11_PARSE(app, argc, argv);
    try {
        if (info->parsed()) return runInfo();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "morvek: %s\n", ZnLib::describe(e).c_str());
        return 1;
    }
    return 0;
}
