#include "ContentDigest.h"

#include <cstdio>

#include "PayloadChecksum.h"

std::string contentDigest(const std::string& bytes)
{
    char hex[33];
    std::snprintf(hex, sizeof hex, "%016llx%016llx",
                  static_cast<unsigned long long>(payloadChecksum(bytes.data(), bytes.size(), 1)),
                  static_cast<unsigned long long>(payloadChecksum(bytes.data(), bytes.size(), 2)));
    return hex;
}
