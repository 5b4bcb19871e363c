#include "wizard/dataset/ccrsidentifier.h"

namespace TSR::ImageCompressor::API {

CCRSIdentifier::CCRSIdentifier() = default;

CCRSIdentifier::CCRSIdentifier(int epsg)
    : epsg(epsg)
{}

CCRSIdentifier::CCRSIdentifier(const CCRSIdentifier& other) = default;

CCRSIdentifier::~CCRSIdentifier() = default;

int CCRSIdentifier::GetEPSG() const
{
    return epsg;
}

CCRSIdentifier& CCRSIdentifier::operator=(const CCRSIdentifier& other) = default;

bool CCRSIdentifier::operator==(const CCRSIdentifier& other) const
{
    return epsg == other.epsg;
}

}  // namespace TSR::ImageCompressor::API
