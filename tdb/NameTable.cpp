#include "NameTable.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace tdb {

namespace {

// Slot arrays of this size and more are aligned to, and asked to be backed
// by, huge pages: lookups land anywhere in the array, and with small pages
// each would also miss the address translation cache.
constexpr size_t kHugePage = size_t{2} << 20;

// A zeroed block of the given size.
void* allocateSlots(size_t bytes)
{
    void* p = nullptr;
    if (bytes >= kHugePage) {
        p = std::aligned_alloc(kHugePage, (bytes + kHugePage - 1) / kHugePage * kHugePage);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
        if (p != nullptr) madvise(p, bytes, MADV_HUGEPAGE);  // only a hint: failing changes nothing
#endif
    } else {
        p = std::malloc(bytes);
    }
    if (p == nullptr) throw std::bad_alloc();
    std::memset(p, 0, bytes);
    return p;
}

}  // namespace

NameTable::~NameTable() { std::free(slots_); }

uint32_t NameTable::hashOf(std::string_view name)
{
    // eight bytes at a time, each mixed by an odd multiplier; the length goes in
    // first, so that names differing only in trailing zero bytes differ
    constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;
    uint64_t h = (name.size() + 1) * kMultiplier;
    size_t i = 0;
    for (; i + 8 <= name.size(); i += 8) {
        uint64_t w;
        std::memcpy(&w, name.data() + i, 8);
        h = (h ^ w) * kMultiplier;
        h ^= h >> 29;
    }
    if (i < name.size()) {
        uint64_t w = 0;
        std::memcpy(&w, name.data() + i, name.size() - i);
        h = (h ^ w) * kMultiplier;
        h ^= h >> 29;
    }
    h *= kMultiplier;
    return static_cast<uint32_t>(h >> 32);
}

size_t NameTable::locate(std::string_view name, uint32_t hash) const
{
    const size_t mask = slotCount_ - 1;
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
        const Slot& s = slots_[i];
        if (s.entry == 0) return i;
        if (s.hash != hash) continue;
        const Entry& e = entries_[s.entry - 1];
        if (e.length == name.size() && std::memcmp(chars_.data() + e.offset, name.data(), name.size()) == 0) return i;
    }
}

const int* NameTable::find(std::string_view name) const
{
    if (entries_.empty()) return nullptr;
    const Slot& s = slots_[locate(name, hashOf(name))];
    return s.entry != 0 ? &entries_[s.entry - 1].value : nullptr;
}

int* NameTable::find(std::string_view name)
{
    return const_cast<int*>(static_cast<const NameTable&>(*this).find(name));
}

std::pair<int*, bool> NameTable::tryEmplace(std::string_view name, int value)
{
    // at most half the slots in use, so that probe runs stay short
    if (2 * (entries_.size() + 1) > slotCount_) rehash(slotCount_ == 0 ? 16 : 2 * slotCount_);
    const uint32_t hash = hashOf(name);
    Slot& s = slots_[locate(name, hash)];
    if (s.entry != 0) return {&entries_[s.entry - 1].value, false};
    if (entries_.size() >= UINT32_MAX || name.size() >= UINT32_MAX) throw std::length_error("too many names");
    entries_.push_back(Entry{chars_.size(), static_cast<uint32_t>(name.size()), value});
    chars_.append(name.data(), name.size());
    s.hash = hash;
    s.entry = static_cast<uint32_t>(entries_.size());
    return {&entries_.back().value, true};
}

void NameTable::reserve(size_t n, size_t charsPerName)
{
    size_t slotCount = slotCount_ == 0 ? 16 : slotCount_;
    while (slotCount < 2 * n) slotCount *= 2;
    if (slotCount > slotCount_) rehash(slotCount);
    entries_.reserve(n);
    chars_.reserve(n * charsPerName);
}

void NameTable::rehash(size_t slotCount)
{
    Slot* slots = static_cast<Slot*>(allocateSlots(slotCount * sizeof(Slot)));
    const size_t mask = slotCount - 1;
    for (size_t k = 0; k < slotCount_; ++k) {
        const Slot& s = slots_[k];
        if (s.entry == 0) continue;
        size_t i = s.hash & mask;
        while (slots[i].entry != 0) i = (i + 1) & mask;
        slots[i] = s;
    }
    std::free(slots_);
    slots_ = slots;
    slotCount_ = slotCount;
}

}  // namespace tdb
