#include "wizard/dataset/cruntimeerror.h"

namespace TSR {

CRuntimeError::CRuntimeError(const std::string& message)
    : std::runtime_error(message)
{}

CRuntimeError::~CRuntimeError() = default;

const char* CRuntimeError::what() const noexcept
{
    return std::runtime_error::what();
}

}  // namespace TSR
