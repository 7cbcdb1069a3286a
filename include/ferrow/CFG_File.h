// A handful of named settings kept in a plain key=value text file. Owners
// register each setting with the address of the variable that holds it; a
// load reads the file into every registered variable, and a missing file is
// created from the variables' current values so that a first run writes the
// defaults out.
//
// Reading is deliberately lenient: a key is the first occurrence of its name
// anywhere in the first kTextSize - 1 bytes (also inside a longer key or a
// value), followed by any run of spaces and '='. An integer keeps the low
// bytes of its value, as the target would (300 in one byte is 44). Nothing
// else is changed silently: a value that does not fit its variable refuses
// that key alone, named in the error text, rather than being clamped or cut,
// and a value that could not be read back unchanged fails the save before the
// file is touched.
#pragma once

#include <ferrow/FerrowApi.h>

#include <cstddef>

enum CfgFile_DataType_e : int {
    CFG_TYPE_DECIMAL = 0,  // signed integer of 1 to 8 bytes, written in decimal
    CFG_TYPE_HEX = 1,      // unsigned integer of 1 to 8 bytes, written as 0x...
    CFG_TYPE_STRING = 2,   // NUL-terminated 8-bit string, written in quotes
    CFG_TYPE_DOUBLE = 3,   // float (width 4) or double (width 8)
};

class FERROW_API CFG_File {
public:
    // Text buffer used for reading the file and formatting each line.
    static constexpr unsigned kTextSize = 16384;
    // Room for the full path, terminator included.
    static constexpr unsigned kPathSize = 1024;

    CFG_File();
    virtual ~CFG_File();
    CFG_File(const CFG_File&) = delete;
    CFG_File& operator=(const CFG_File&) = delete;

    // Sets the path and allocates a table of maxFields records; 0 or -1.
    int Init(const char* pathName, unsigned short maxFields);
    // A name starting with '/' (on Windows also one starting with a backslash
    // or holding a colon anywhere) is absolute; others are taken relative to
    // the current directory. A path that does not fit kPathSize is refused
    // with "Invalid Config Path Name" and the previous path stays. 0 or -1.
    int SetPathName(const char* pathName);
    // Registers (or re-registers, by exact name) a field; returns its index or
    // -1. Integers take widths 1 to 8, floating point 4 or 8. A string field
    // needs to know how many units its variable holds, terminator included:
    // `capacity` when given, else `size`; a string field with neither is
    // refused, with a text that names it and says how to give the capacity.
    // A new name beyond the maxFields given to Init is refused with
    // "Too many configuration fields". A refusal changes no record.
    int AddField(const char* name, CfgFile_DataType_e type, void* storage, unsigned char size);
    int AddField(const char* name, CfgFile_DataType_e type, void* storage, unsigned char size,
                 unsigned long capacity);
    // Reads the file into every registered variable, or creates it when it
    // does not exist (a file that exists but cannot be opened is never
    // overwritten). A value that does not fit its variable (a number beyond
    // 64 bits or beyond its float or double, a string longer than its
    // capacity) leaves that variable alone and the load goes on; the error
    // text names every such key and the result is -1. The first value that
    // cannot be read at all ends the load with "Invalid Config File"; fields
    // before it keep their new values, later ones are untouched. 0 or -1.
    int LoadFile();
    // Writes every registered field; null means the object's own path. Every
    // line is formatted before the file is opened, so a field that cannot be
    // written (a string holding a double quote, or too long for the text
    // buffer) fails the save and leaves the file as it was. 0 or -1.
    int SaveFile(const char* pathName = nullptr);

    // The text left by the last failure; empty after Init. It stays valid as
    // long as the object does.
    const char* GetLastErrorText() const;
    // The full path, or an empty string before one is set.
    const char* GetPathName() const;
    unsigned short GetFieldCount() const;

protected:
    // Extension point for classes that add field types of their own: a type
    // this class does not know is handed to these, always under the object's
    // lock.
    struct Field;
    // Null when the record may be registered, else the refusal text.
    virtual const char* CheckField(const Field& field) const;
    // Reads the value at `valueText` (the text behind the key, which ends at
    // `textEnd`); false when it cannot be converted or does not fit. A string
    // read through LoadQuoted that is too long is told apart as not fitting.
    virtual bool LoadOtherType(Field& field, const char* valueText, const char* textEnd);
    // Formats one whole line into `line` (at most `lineSize` bytes with its
    // terminator); null on success, else the failure text.
    virtual const char* FormatOtherType(const Field& field, char* line, unsigned lineSize);

    // Quoted-text support shared by every string type; `unitSize` is the
    // width of one character of the variable. Each byte of the file becomes
    // one unit (zero-extended) and each unit is written as its low byte.
    static bool LoadQuoted(Field& field, const char* valueText, const char* textEnd,
                           std::size_t unitSize);
    static const char* FormatQuoted(const Field& field, std::size_t unitSize, char* line,
                                    unsigned lineSize);

private:
    struct Impl;
    Impl* impl_;
};

// One registered setting. `size` is the variable's width in bytes; for a
// string it becomes the loaded text's length plus one; `capacity` bounds what
// a string load may copy into the variable (in units of the string's
// character type, terminator included).
struct CFG_File::Field {
    unsigned short index;
    const char* name;
    int type;
    void* storage;
    unsigned short size;
    unsigned long capacity;
};
