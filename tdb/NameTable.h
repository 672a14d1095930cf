// Names of the reader (upper case) with an int each: the symbol-list positions
// of the functions a database defines.
//
// A large database names hundreds of thousands of functions, and every name
// its expressions use is looked up, most of them more than once.  A node-based
// map spreads its keys over the heap, so a lookup costs several cache misses
// and every name a heap block.  Here the names, their texts one after the
// other, and their values are kept in the order they were added, and the
// open-addressed slots hold only a name's hash and its number: eight bytes,
// so that the slots of a few hundred thousand names stay within reach of the
// processor's caches and address translation.  A lookup reads one slot, and
// the name only when the hashes agree; the names a function uses were mostly
// added next to it, so that read is usually cached.
#ifndef TDB_NAMETABLE_H
#define TDB_NAMETABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tdb {

class NameTable
{
public:
    //! The value of name, or nullptr when the table does not hold it.
    int* find(std::string_view name);
    const int* find(std::string_view name) const;
    bool contains(std::string_view name) const { return find(name) != nullptr; }

    //! The value of name, added with value when the table does not hold it
    //! yet; second tells whether it was added.
    std::pair<int*, bool> tryEmplace(std::string_view name, int value);
    //! Sets the value of name, adding it when new.
    void set(std::string_view name, int value) { *tryEmplace(name, value).first = value; }

    size_t size() const { return entries_.size(); }
    //! Room for n names (and about charsPerName characters each) without rehashing.
    void reserve(size_t n, size_t charsPerName = 8);

    //! Calls f(int& value) for every name.
    template <class F>
    void forEachValue(F f)
    {
        for (Entry& e : entries_) f(e.value);
    }

    NameTable() = default;
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;
    ~NameTable();

private:
    struct Slot
    {
        uint32_t hash;
        uint32_t entry;  //!< 1 + index into entries_, 0 for a free slot
    };
    struct Entry
    {
        uint64_t offset;  //!< where the name starts in chars_
        uint32_t length;
        int value;
    };

    static uint32_t hashOf(std::string_view name);
    // The slot holding name, or the free slot where it belongs.
    size_t locate(std::string_view name, uint32_t hash) const;
    void rehash(size_t slotCount);

    Slot* slots_ = nullptr;    //!< slotCount_ slots, a power of two, at most half of them used
    size_t slotCount_ = 0;
    std::vector<Entry> entries_;
    std::string chars_;        //!< the names, one after the other
};

}  // namespace tdb

#endif
