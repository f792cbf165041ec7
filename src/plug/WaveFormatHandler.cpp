#include "plug/WaveFormatHandler.h"

#include <mutex>
#include <vector>

namespace ZnPlug {

namespace {
struct Registry {
    std::mutex lock;
    std::vector<std::weak_ptr<WaveFormatHandler>> handlers;
};

Registry& registry() {
    static Registry r;
    return r;
}
}  // namespace

void WaveFormatHandler::registerHandler(const std::shared_ptr<WaveFormatHandler>& handler) {
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.handlers.push_back(handler);
}

std::shared_ptr<WaveFormatHandler> WaveFormatHandler::find(ZnLib::ByteReader file) {
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    for (auto it = r.handlers.begin(); it != r.handlers.end();) {
        std::shared_ptr<WaveFormatHandler> h = it->lock();
        if (!h) {
            it = r.handlers.erase(it);
            continue;
        }
        if (h->canLoad(file)) return h;
        ++it;
    }
    return nullptr;
}

}  // namespace ZnPlug
