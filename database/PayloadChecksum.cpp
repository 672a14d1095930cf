#include "PayloadChecksum.h"

#include <cstring>

namespace {

constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;  // odd: multiplying is a bijection

inline uint64_t step(uint64_t lane, uint64_t word)
{
    lane ^= word;
    lane = (lane << 29) | (lane >> 35);
    return lane * kMultiplier;
}

}  // namespace

uint64_t payloadChecksum(const char* data, size_t size, uint64_t seed)
{
    uint64_t lane[4] = {0x243F6A8885A308D3ull, 0x13198A2E03707344ull, 0xA4093822299F31D0ull,
                        0x082EFA98EC4E6C89ull};
    for (uint64_t& l : lane) l ^= seed * kMultiplier;
    uint64_t l0 = lane[0], l1 = lane[1], l2 = lane[2], l3 = lane[3];
    size_t i = 0;
    for (; i + 32 <= size; i += 32) {
        uint64_t w0, w1, w2, w3;
        std::memcpy(&w0, data + i, 8);
        std::memcpy(&w1, data + i + 8, 8);
        std::memcpy(&w2, data + i + 16, 8);
        std::memcpy(&w3, data + i + 24, 8);
        l0 = step(l0, w0);
        l1 = step(l1, w1);
        l2 = step(l2, w2);
        l3 = step(l3, w3);
    }
    lane[0] = l0, lane[1] = l1, lane[2] = l2, lane[3] = l3;
    // the tail, zero-padded, then the length: "abc" and "abc\0" differ
    char tail[32] = {};
    std::memcpy(tail, data + i, size - i);
    for (size_t k = 0; k < (size - i + 7) / 8; ++k) {
        uint64_t w;
        std::memcpy(&w, tail + 8 * k, 8);
        lane[k] = step(lane[k], w);
    }
    uint64_t h = static_cast<uint64_t>(size);
    for (uint64_t l : lane) h = step(h, l);
    return h ^ (h >> 31);
}
