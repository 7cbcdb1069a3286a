#include "panels/DisplayPeriods.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace ferrow::panels {

DisplayPeriods::Slot& DisplayPeriods::For(const void* config, const wchar_t* name) {
    static std::mutex mutex;  // protects: slots
    // Deliberately never destroyed: a configuration object may still load
    // into a slot while static objects are torn down.
    static auto* slots = new std::map<std::pair<const void*, std::wstring>, std::unique_ptr<Slot>>;
    auto slot = std::make_unique<Slot>(name);
    std::lock_guard<std::mutex> guard(mutex);
    auto [it, added] = slots->try_emplace({config, slot->key.Wide()}, nullptr);
    if (added) it->second = std::move(slot);
    return *it->second;
}

}  // namespace ferrow::panels
