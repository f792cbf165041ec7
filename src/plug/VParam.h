#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <typeinfo>

#include "lib/RefCounted.h"

namespace ZnPlug {

// A parameter whose type is known only at run time: what the interface and the document code
// see of an effect's values. Effect units hand out a numbered list of these.
class VParamBase : public ZnLib::_RefCounted<int, int> {
public:
    ~VParamBase() override = default;

    // The name in documents (also the short label) and the optional long label.
    virtual const std::string& key() const = 0;
    virtual const std::string& label() const = 0;
    // The class of the value behind it; two VParams of the same type can copy each other.
    virtual const std::type_info& type() const = 0;

    // [ui-thread] Display form; setText throws Unparsable or "Illegal value".
    virtual std::string text() const = 0;
    virtual void setText(std::string_view text) = 0;
    // [ui-thread] The value over its bounds, 0 to 1.
    virtual float normalized() const = 0;
    virtual void setNormalized(float value) = 0;
    virtual int32_t steps() const = 0;
    // [ui-thread] Takes value (and binding) from a VParam of the same type; false otherwise.
    virtual bool copyFrom(const VParamBase& other) = 0;

    // Binding to an automation cell, for those that allow it.
    virtual bool assignable() const { return false; }
    virtual int32_t automation() const { return -1; }
    // Throws "Illegal value" for an index out of range or a value that cannot be bound.
    virtual void setAutomation(int32_t index);
};

// A VParam with its value type: typed access for code that knows it.
template <typename T>
class VParam : public VParamBase {
public:
    using value_type = T;
    virtual T get() const = 0;
    virtual void set(T value) = 0;
    virtual T minValue() const = 0;
    virtual T maxValue() const = 0;
};

}  // namespace ZnPlug
