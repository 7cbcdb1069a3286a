#include "panels/DisplayPeriods.h"

#include <ferrow/CFG_File.h>
#include <ferrow/CfgFile_c.h>

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

int DisplayPeriods::Load(void* config, bool wide, const wchar_t* name, int defaultPeriod) {
    Slot& slot = For(config, name);
    slot.period = defaultPeriod;
    auto* file = static_cast<CFG_File*>(config);
    if (wide) {
        auto* wideFile = static_cast<CfgFile_c*>(file);
        wideFile->AddField(slot.key.Wide(), CFG_TYPE_DECIMAL, &slot.period, 4);
        wideFile->LoadFile();
    } else {
        file->AddField(slot.key.Narrow(), CFG_TYPE_DECIMAL, &slot.period, 4);
        file->LoadFile();
    }
    return slot.period;
}

}  // namespace ferrow::panels
