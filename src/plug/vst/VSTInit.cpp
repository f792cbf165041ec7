#include "plug/vst/VSTInit.h"

#include "plug/vst/HostGuard.h"
#include "plug/vst/VSTDispatcher.h"

namespace ZnPlug {

PluginFactory& pluginFactory() {
    static PluginFactory factory;
    return factory;
}

Vst::AEffect* vstPluginMain(Vst::HostCallback host) noexcept {
    return guarded("VSTPluginMain", static_cast<Vst::AEffect*>(nullptr), [&]() -> Vst::AEffect* {
        // Hosts may be asked with no effect yet; one that does not answer is not a VST 2 host.
        if (!host || host(nullptr, Vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0) return nullptr;
        ZnLib::SharedRef<AudioPlugin> plugin = pluginFactory()();
        auto* dispatcher = new VSTDispatcher(host, std::move(plugin));
        return dispatcher->effect();
    });
}

}  // namespace ZnPlug
