#include "wizard/dataset/icompressionutil.h"

namespace TSR::ImageCompressor::API {

ICompressionUtil::~ICompressionUtil() = default;

}  // namespace TSR::ImageCompressor::API
