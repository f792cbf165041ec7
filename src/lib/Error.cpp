#include "lib/Error.h"

namespace ZnLib {

void throwWrapped(const std::string& message) {
    if (std::current_exception()) std::throw_with_nested(std::runtime_error(message));
    throw std::runtime_error(message);
}

namespace {
void appendChain(const std::exception& e, std::string& out) {
    if (!out.empty()) out += "\n - ";
    out += e.what();
    try {
        std::rethrow_if_nested(e);
    } catch (const std::exception& inner) {
        appendChain(inner, out);
    } catch (...) {
        out += "\n - unknown error";
    }
}
}  // namespace

std::string describe(const std::exception& e) {
    std::string out;
    appendChain(e, out);
    return out;
}

std::string describeCurrent() {
    try {
        throw;
    } catch (const std::exception& e) {
        return describe(e);
    } catch (...) {
        return "unknown error";
    }
}

}  // namespace ZnLib
