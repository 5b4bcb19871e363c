#pragma once

#include <stdexcept>
#include <string>

namespace TSR {

// The one exception the dataset library throws. Its text is shown to the user as it stands, so it
// says what failed and on which file.
class CRuntimeError : public std::runtime_error
{
public:
    explicit CRuntimeError(const std::string& message);
    ~CRuntimeError() override;

    const char* what() const noexcept override;
};

}  // namespace TSR
