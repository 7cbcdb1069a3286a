// The seed list a fuzz target offers the standalone driver: its texts as the
// null-terminated array of C strings that FerrowFuzzSeeds returns.
#pragma once

#include <string>
#include <vector>

namespace ferrow::fuzz {

// `texts` must live as long as the process (a function-local static).
inline const char* const* SeedPointers(const std::vector<std::string>& texts) {
    static const std::vector<const char*> list = [&] {
        std::vector<const char*> pointers;
        for (const std::string& text : texts) pointers.push_back(text.c_str());
        pointers.push_back(nullptr);
        return pointers;
    }();
    return list.data();
}

}  // namespace ferrow::fuzz
