#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/variant.h"

namespace orvix {

/// Ordered store of typed values by name. Names are compared exactly. It keeps its entries in their serialized form, so
/// contents are copied and never re-encoded.
///
/// Contents in the first layout, all numbers little-endian:
///
///   3 bytes  "NB1"
///   1 byte   version, 1
///   then entries up to the end, each
///     varint   length of the name, then the name
///     1 byte   type
///     value    by type:
///              0 empty, 1 null, 2 false, 3 true             nothing
///              4 16-bit integer, 5 32-bit integer           varint; 0, -1, 1, -2, ... as 0, 1, 2, 3, ... (zigzag)
///              6 single                                     4 bytes
///              7 double, 8 currency (x 10000), 9 date       8 bytes
///              10 text, 11 byte array                       varint length, then the bytes
///
/// A varint has seven bits a byte, low bits first, the top bit set on all bytes but the last; at most ten bytes. No two
/// entries have the same name. What is read in writing order, each name once, is found without looking whether that
/// holds (a second one is never reached); looking for anything else raises InvalidContents when it does not.
///
/// The second layout, for what is kept where bytes may be damaged, has version 2 and behind the entries:
///
///   4 bytes  length of the contents, these and the following four included
///   4 bytes  Crc32 of all bytes before
class PropertyBag {
public:
    PropertyBag();
    /// A bag of these contents; raises what Contents does.
    explicit PropertyBag(ByteArray contents) { Contents(std::move(contents)); }

    /// Appends an entry; an entry of that name is replaced in its place.
    void WriteProperty(std::string_view name, const Variant& value);
    /// Appends an entry of a name that is not there yet, which is the caller's to know: nothing is looked for.
    /// T is bool, std::int32_t, std::string, ByteArray or Variant.
    template <class T>
    void Add(std::string_view name, const T& value);

    bool Exists(std::string_view name) const;
    /// Raises MissingItem, naming the entry, when there is none of that name.
    Variant ReadProperty(std::string_view name) const;
    Variant ReadProperty(std::string_view name, const Variant& defaultValue) const;
    /// Reads an entry into a field of its own or another type, to which it is then converted as a Variant is. The field
    /// stays as it is when there is none of that name, or it does not convert (see Variant). Returns whether there is.
    /// T is bool, std::int32_t, std::string or Variant.
    template <class T>
    bool Read(std::string_view name, T& field) const;
    /// The same when it is the entry behind the one that was read last, at first the first; otherwise returns false.
    template <class T>
    bool ReadNext(std::string_view name, T& field) const;

    const ByteArray& Contents() const& { return m_Bytes; }
    ByteArray Contents() && { return std::move(m_Bytes); }
    /// Takes over contents in either layout. Every length is checked against what is left before anything is allocated.
    /// Raises InvalidContents, saying what is wrong and at which byte, and leaves the bag as it was.
    void Contents(ByteArray bytes);
    /// The contents in the second layout. Raises Overflow for a length beyond 32 bits.
    ByteArray SealedContents() const;

private:
    /// Makes the index, unless it is there.
    void RequireIndex() const;
    /// The place in the index of the entry of that name, or the free one where it would stand.
    std::size_t SlotOf(std::string_view name) const;
    /// Where the entry of that name begins, 0 when there is none.
    std::size_t Find(std::string_view name) const;
    /// Enters all that is in the bytes into an index of that many slots.
    void Index(std::size_t slots) const;
    template <class T>
    void Append(std::string_view name, const T& value);
    void Replace(std::size_t begin, std::string_view name, const Variant& value);

    ByteArray m_Bytes;
    /// Offsets of the entries by the hash of their names, 0 where free: open addressing, never more than half full, so
    /// that no number of entries makes a look-up long. Empty until something is looked for.
    mutable std::vector<std::size_t> m_Slots;
    mutable std::size_t m_Count = 0;
    /// Where the entry after the last one read begins.
    mutable std::size_t m_Next = 0;
};

}  // namespace orvix
