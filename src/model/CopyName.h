#pragma once
#include <functional>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace MV {

// A name for a copy among items that must not share it: `wanted` when it is free, else the stem
// of "Stem (n)" (or the whole name) with " (2)", " (3)" ... up to the first free one.
std::string copyName(const std::string& wanted, const std::function<bool(const std::string&)>& taken);

// The same over a list of sound items, compared with their names exactly.
template <typename T>
std::string copyName(const std::string& wanted, const std::vector<ZnLib::SharedRef<T>>& items) {
    return copyName(wanted, [&items](const std::string& name) {
        for (const auto& item : items)
            if (item->name() == name) return true;
        return false;
    });
}

}  // namespace MV
