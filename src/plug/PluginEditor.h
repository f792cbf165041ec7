#pragma once
#include <cstdint>

#include "lib/RefCounted.h"

namespace ZnPlug {

// A key as the host hands it to an open editor.
struct KeyRecord {
    int32_t virtualKey = 0;
    int32_t modifiers = 0;
    int32_t character = 0;
};

// The plug-in's window, as far as a host adapter sees it. The editor proper derives from it; every
// default does nothing, so a plug-in without a window of its own needs none of this.
class PluginEditor : public ZnLib::_RefCounted<int, int> {
public:
    ~PluginEditor() override = default;
    // [ui-thread] The size the editor wants; false when it has none yet.
    virtual bool getSize(int32_t& width, int32_t& height) {
        width = height = 0;
        return false;
    }
    // [ui-thread] Opens inside the host's parent window (an X11 window id on Linux).
    virtual bool open(void* parentWindow) {
        (void)parentWindow;
        return false;
    }
    virtual void close() {}
    virtual void idle() {}
    virtual void setKnobMode(int32_t mode) { (void)mode; }
    // [ui-thread] true when the editor used the key.
    virtual bool keyDown(const KeyRecord& key) {
        (void)key;
        return false;
    }
    virtual bool keyUp(const KeyRecord& key) {
        (void)key;
        return false;
    }
    virtual void resize(int32_t width, int32_t height) {
        (void)width;
        (void)height;
    }
};

}  // namespace ZnPlug
