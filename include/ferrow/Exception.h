// The exception a firmware throws from its loop to report a fault to the
// emulator: a text and a numeric code.
#pragma once

#include <ferrow/FerrowApi.h>

#include <exception>
#include <sstream>
#include <string>

namespace utility {

class FERROW_API Exception : public std::exception {
public:
    using CODE = int;

    // Takes the text written to the stream so far.
    Exception(const std::ostringstream& text, CODE code);
    Exception(const std::string& text, CODE code);
    ~Exception() override;

    const char* get_what() const noexcept { return text_.c_str(); }
    CODE get_code() const noexcept { return code_; }
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
    CODE code_;
};

}  // namespace utility
