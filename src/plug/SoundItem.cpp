#include "plug/SoundItem.h"

#include "lib/Path.h"

namespace ZnPlug {

void SoundItem::setName(const std::string& name) {
    name_ = name;
    if (!file_.path().empty()) file_.setPath(ZnLib::FS::replaceFileName(file_.path(), name));
}

bool SoundItem::selfModified() const { return modCount() != 0 || file_.changedOnDisk(); }

bool SoundItem::modified() const { return selfModified(); }

std::size_t SoundItem::memUsage() const { return (file_.path().size() + name_.size()) * 2; }

}  // namespace ZnPlug
