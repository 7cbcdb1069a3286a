// The gateway's own configuration class. It keeps the same file format as
// CFG_File and adds wide-character key names and a wide-character string type,
// so that a wide-text setting (such as a file name) is handed over unchanged.
#pragma once

#include <ferrow/CFG_File.h>

// Wide-character string field of CfgFile_c: a NUL-terminated wchar_t array.
// On disk it is the same quoted text as CFG_TYPE_STRING: each unit is written
// as its low byte and each byte read back is widened, so 8-bit (UTF-8) text
// survives a round trip unchanged. Its capacity (or, without one, `size`)
// counts wchar_t units, terminator included.
constexpr int CFG_TYPE_WSTRING = 4;

class FERROW_API CfgFile_c : public CFG_File {
public:
    CfgFile_c();
    ~CfgFile_c() override;

    using CFG_File::AddField;
    // Registers a field under a wide-character name; the name is narrowed
    // (low byte of each unit) into a copy that this object keeps.
    int AddField(const wchar_t* name, int type, void* storage, unsigned char size);
    int AddField(const wchar_t* name, int type, void* storage, unsigned char size,
                 unsigned long capacity);

protected:
    const char* CheckField(const Field& field) const override;
    bool LoadOtherType(Field& field, const char* valueText, const char* textEnd) override;
    const char* FormatOtherType(const Field& field, char* line, unsigned lineSize) override;

private:
    struct Names;
    Names* names_;
};
