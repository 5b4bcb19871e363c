#pragma once

namespace TSR::ImageCompressor::API {

// A coordinate reference held by its EPSG number; 0 or less means none is known.
class CCRSIdentifier
{
public:
    CCRSIdentifier();
    explicit CCRSIdentifier(int epsg);
    CCRSIdentifier(const CCRSIdentifier& other);
    virtual ~CCRSIdentifier();

    virtual int GetEPSG() const;

    CCRSIdentifier& operator=(const CCRSIdentifier& other);
    bool operator==(const CCRSIdentifier& other) const;

private:
    int epsg = 0;
};

}  // namespace TSR::ImageCompressor::API
