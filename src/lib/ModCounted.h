#pragma once
#include <cstddef>
#include <cstdint>

namespace ZnLib {

// A modification count: zero means "as loaded or saved". Composite items override modified and
// clearModified to descend into their children; touch is never overridden.
class ModCounted {
public:
    virtual ~ModCounted() = default;
    virtual bool modified() const { return modCount_ != 0; }
    virtual void touch() { ++modCount_; }
    virtual void clearModified() { modCount_ = 0; }
    uint32_t modCount() const noexcept { return modCount_; }
    void setModCount(uint32_t count) noexcept { modCount_ = count; }

private:
    uint32_t modCount_ = 0;
};

// Memory use in bytes, as the editor's status display shows it: cheap estimates, no walk
// through sample data.
class MemUsage {
public:
    virtual ~MemUsage() = default;
    virtual std::size_t memUsage() const = 0;
};

}  // namespace ZnLib
