// The gateway's configuration class: CFG_File's file format with wide-character
// key names and a wide-character string type on top.
#include <ferrow/CfgFile_c.h>

#include "platform/Text.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <mutex>
#include <string>

struct CfgFile_c::Names {
    std::mutex lock;  // protects copies
    // The table keeps pointers to these names, so they must never move: a
    // deque does not move its elements when it grows.
    std::deque<std::string> copies;
};

CfgFile_c::CfgFile_c() : names_(new Names) {}

CfgFile_c::~CfgFile_c() { delete names_; }

int CfgFile_c::AddField(const wchar_t* name, int type, void* storage, unsigned char size) {
    return AddField(name, type, storage, size, 0);
}

int CfgFile_c::AddField(const wchar_t* name, int type, void* storage, unsigned char size,
                        unsigned long capacity) {
    const char* narrow = nullptr;
    if (name) {
        std::string copy = ferrow::platform::Text::Narrow(name);
        // A name registered again reuses its copy, so re-registration does
        // not grow the list.
        std::lock_guard<std::mutex> guard(names_->lock);
        auto found = std::find(names_->copies.begin(), names_->copies.end(), copy);
        if (found == names_->copies.end()) {
            names_->copies.push_back(std::move(copy));
            found = std::prev(names_->copies.end());
        }
        narrow = found->c_str();
    }
    return CFG_File::AddField(narrow, static_cast<CfgFile_DataType_e>(type), storage, size,
                              capacity);
}

const char* CfgFile_c::CheckField(const Field& field) const {
    if (field.type != CFG_TYPE_WSTRING) return CFG_File::CheckField(field);
    Field asString = field;
    asString.type = CFG_TYPE_STRING;
    return CFG_File::CheckField(asString);
}

bool CfgFile_c::LoadOtherType(Field& field, const char* valueText, const char* textEnd) {
    if (field.type != CFG_TYPE_WSTRING) return CFG_File::LoadOtherType(field, valueText, textEnd);
    return LoadQuoted(field, valueText, textEnd, sizeof(wchar_t));
}

const char* CfgFile_c::FormatOtherType(const Field& field, char* line, unsigned lineSize) {
    if (field.type != CFG_TYPE_WSTRING) return CFG_File::FormatOtherType(field, line, lineSize);
    return FormatQuoted(field, sizeof(wchar_t), line, lineSize);
}
