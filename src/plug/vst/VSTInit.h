#pragma once
#include <functional>

#include "lib/RefCounted.h"
#include "plug/AudioPlugin.h"
#include "plug/vst/VstAbi.h"

namespace ZnPlug {

// Makes the plug-in of this module; one per process (or per loaded module).
using PluginFactory = std::function<ZnLib::SharedRef<AudioPlugin>()>;

// [any-thread] The process-wide factory slot that VSTInit fills.
PluginFactory& pluginFactory();

// [ui-thread] The body of the exported entry point: asks the host's version (null if it answers
// 0), makes the plug-in through the factory (std::bad_function_call when none is registered),
// wraps it in a new VSTDispatcher and returns its AEffect. Null, with the reason logged, on any
// failure.
Vst::AEffect* vstPluginMain(Vst::HostCallback host) noexcept;

// A static object of this registers the plug-in class before any host can call the entry point:
//     static ZnPlug::VSTInit<MV::Morvek> registration;
template <typename Plugin>
struct VSTInit {
    VSTInit() {
        // Adopted as an AudioPlugin: a plug-in may have more than one counted base.
        pluginFactory() = [] {
            return ZnLib::SharedRef<AudioPlugin>(static_cast<AudioPlugin*>(new Plugin()), ZnLib::adoptRef);
        };
    }
};

}  // namespace ZnPlug
