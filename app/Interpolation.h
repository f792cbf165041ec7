#pragma once
#include <string>
#include <string_view>

namespace Cli {

// The code of an interpolation named on the command line: "default" (0) or one of the engine's
// names ("Draft" 1 to "Sinc128" 5), in any case; -1 for any other text.
int interpolationCode(std::string_view name);
// The names as help and errors list them: "{default,draft,hermite,sinc32,sinc64,sinc128}".
std::string interpolationChoices();

}  // namespace Cli
