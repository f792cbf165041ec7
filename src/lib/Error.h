#pragma once
#include <exception>
#include <stdexcept>
#include <string>

namespace ZnLib {

// Failures are exceptions with a literal text. A wrapper ("Could not load " + path) keeps the
// cause nested; describe() shows the chain joined by "\n - ".

// Throws a runtime_error with `message`, nesting the exception currently being handled (if any).
// Call it from inside a catch block to wrap a cause.
[[noreturn]] void throwWrapped(const std::string& message);

// The text of an exception and all its nested causes: "outer\n - cause\n - root cause".
std::string describe(const std::exception& e);

// describe() for the exception currently being handled; for use in catch (...).
std::string describeCurrent();

}  // namespace ZnLib
