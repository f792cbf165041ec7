#pragma once
#include <string_view>

namespace MV {

// The text of a schema compiled into the program ("shared.xsd", "bank.xsd", "program.xsd",
// "performance.xsd", "wavematrix.xsd"), or an empty view for any other name. [any-thread]
std::string_view schemaText(std::string_view name);

}  // namespace MV
