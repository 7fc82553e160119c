#include "host/property_bag.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>

#include "host/byte_reader.h"
#include "host/checksum.h"
#include "host/error.h"

namespace orvix {

namespace {

constexpr std::uint8_t kHeader[] = {'N', 'B', '1', 1};
constexpr std::size_t kHeaderLength = sizeof(kHeader);
constexpr std::size_t kVersionOffset = kHeaderLength - 1;
constexpr std::uint8_t kSealedVersion = 2;  // two bits away from the first: no single error turns one into the other
constexpr std::size_t kSealLength = 2 * sizeof(std::uint32_t);
constexpr std::size_t kUsualLength = 512;  // a task's state fits, so that writing one allocates once
constexpr std::size_t kUsualSlots = 64;    // the same for its index
constexpr std::size_t kMaxVarintLength = 10;

enum EntryType : std::uint8_t {
    kEmpty = 0,
    kNull = 1,
    kFalse = 2,
    kTrue = 3,
    kInt16 = 4,
    kInt32 = 5,
    kSingle = 6,
    kDouble = 7,
    kCurrency = 8,
    kDate = 9,
    kText = 10,
    kByteArray = 11,
};

std::uint64_t ZigZag(std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    return value < 0 ? ~(bits << 1) : bits << 1;
}

std::int64_t FromZigZag(std::uint64_t code) {
    return static_cast<std::int64_t>(code >> 1 ^ (0 - (code & 1)));
}

void PutVarint(ByteArray& bytes, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7)
        bytes.push_back(static_cast<std::uint8_t>(value | 0x80));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

void PutBytes(ByteArray& bytes, const void* data, std::size_t length) {
    const auto* first = static_cast<const std::uint8_t*>(data);
    bytes.insert(bytes.end(), first, first + length);
}

/// Appends type and value of an entry.
struct ValueWriter {
    ByteArray& Bytes;

    void operator()(std::monostate) const { Bytes.push_back(kEmpty); }
    void operator()(Null) const { Bytes.push_back(kNull); }
    void operator()(bool value) const { Bytes.push_back(value ? kTrue : kFalse); }
    void operator()(std::int16_t value) const { PutInteger(kInt16, value); }
    void operator()(std::int32_t value) const { PutInteger(kInt32, value); }
    void operator()(float value) const { PutFixed(kSingle, value); }
    void operator()(double value) const { PutFixed(kDouble, value); }
    void operator()(Currency value) const { PutFixed(kCurrency, value.Scaled); }
    void operator()(Date value) const { PutFixed(kDate, value.Days); }
    void operator()(const std::string& value) const { PutSized(kText, value); }
    void operator()(const ByteArray& value) const { PutSized(kByteArray, value); }
    void operator()(const Variant& value) const { std::visit(*this, value.Get()); }

private:
    void PutInteger(EntryType type, std::int32_t value) const {
        Bytes.push_back(type);
        PutVarint(Bytes, ZigZag(value));
    }
    template <class Number>
    void PutFixed(EntryType type, Number value) const {
        Bytes.push_back(type);
        PutBytes(Bytes, &value, sizeof(value));
    }
    template <class Sized>
    void PutSized(EntryType type, const Sized& value) const {
        Bytes.push_back(type);
        PutVarint(Bytes, value.size());
        PutBytes(Bytes, value.data(), value.size());
    }
};

std::string_view AsText(ByteView bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Reads the parts of an entry.
class Reader : public ByteReader {
public:
    Reader(ByteView bytes, std::size_t at) : ByteReader("property bag", bytes, at) {}

    std::uint64_t Varint() {
        const auto first = Read<std::uint8_t>();
        return first < 0x80 ? first : LongVarint(first);
    }

    std::string_view Name() { return AsText(Bytes(Varint())); }
    std::uint8_t Type() { return Read<std::uint8_t>(); }

    ByteView Sized() { return Bytes(Varint()); }

    template <class Integer>
    Integer Whole() {
        const std::size_t start = At();
        const std::int64_t value = FromZigZag(Varint());
        if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max()) {
            RaiseInvalid("integer beyond its type", start);
        }
        return static_cast<Integer>(value);
    }

    void SkipValue(std::uint8_t type) {
        switch (type) {
            case kEmpty:
            case kNull:
            case kFalse:
            case kTrue:
                break;
            case kInt16:
                Whole<std::int16_t>();
                break;
            case kInt32:
                Whole<std::int32_t>();
                break;
            case kSingle:
                Bytes(sizeof(float));
                break;
            case kDouble:
            case kCurrency:
            case kDate:
                Bytes(sizeof(double));
                break;
            case kText:
            case kByteArray:
                Sized();
                break;
            default:
                RaiseUnknown(type);
        }
    }

    Variant Value(std::uint8_t type) {
        switch (type) {
            case kEmpty:
                return {};
            case kNull:
                return Null{};
            case kFalse:
                return false;
            case kTrue:
                return true;
            case kInt16:
                return Whole<std::int16_t>();
            case kInt32:
                return Whole<std::int32_t>();
            case kSingle:
                return Read<float>();
            case kDouble:
                return Read<double>();
            case kCurrency:
                return Currency{Read<std::int64_t>()};
            case kDate:
                return Date{Read<double>()};
            case kText:
                return std::string(AsText(Sized()));
            case kByteArray: {
                const ByteView bytes = Sized();
                return ByteArray(bytes.begin(), bytes.end());
            }
            default:
                RaiseUnknown(type);
        }
    }

    // Into a field: without a variant between when the entry is of the field's own type.
    void Into(bool& field, std::uint8_t type) { field = type == kTrue || (type != kFalse && Value(type).ToBoolean()); }
    void Into(std::int32_t& field, std::uint8_t type) {
        field = type == kInt32 ? Whole<std::int32_t>() : Value(type).ToLong();
    }
    void Into(std::string& field, std::uint8_t type) {
        if (type == kText) {
            field = AsText(Sized());
        } else {
            field = Value(type).ToText();
        }
    }
    void Into(Variant& field, std::uint8_t type) { field = Value(type); }

private:
    std::uint64_t LongVarint(std::uint64_t byte) {
        const std::size_t start = At() - 1;
        std::uint64_t value = byte & 0x7F;
        for (unsigned shift = 7; shift < 7 * kMaxVarintLength; shift += 7) {
            byte = Read<std::uint8_t>();
            const std::uint64_t bits = byte & 0x7F;
            if (bits << shift >> shift != bits) break;
            value |= bits << shift;
            if (byte < 0x80) return value;
        }
        RaiseInvalid("number too long", start);
    }

    [[noreturn]] void RaiseUnknown(std::uint8_t type) const {
        RaiseInvalid("unknown type " + std::to_string(type), At() - 1);
    }
};

void PutNumber(ByteArray& bytes, std::uint32_t number) {
    for (std::size_t i = 0; i < sizeof(number); ++i)
        bytes.push_back(static_cast<std::uint8_t>(number >> 8 * i));
}

/// Turns contents in the second layout into the same in the first, once they have proved whole.
void BreakSeal(ByteArray& bytes) {
    if (bytes.size() < kHeaderLength + kSealLength)
        Reader(bytes, 0).RaiseInvalid("no length and checksum", bytes.size());
    const std::size_t end = bytes.size() - kSealLength;
    Reader seal(bytes, end);
    if (seal.Read<std::uint32_t>() != bytes.size()) seal.RaiseInvalid("not of the length that it tells", end);
    const std::size_t covered = seal.At();
    if (seal.Read<std::uint32_t>() != Crc32(ByteView(bytes).first(covered))) {
        seal.RaiseInvalid("wrong checksum", covered);
    }
    bytes.resize(end);
    bytes[kVersionOffset] = kHeader[kVersionOffset];
}

}  // namespace

PropertyBag::PropertyBag() : m_Next(kHeaderLength) {
    m_Bytes.reserve(kUsualLength);
    m_Bytes.assign(std::begin(kHeader), std::end(kHeader));
}

std::size_t PropertyBag::SlotOf(std::string_view name) const {
    const std::size_t mask = m_Slots.size() - 1;  // their number is a power of two
    std::size_t slot = mask & std::hash<std::string_view>{}(name);
    while (m_Slots[slot] != 0 && Reader(m_Bytes, m_Slots[slot]).Name() != name)
        slot = (slot + 1) & mask;
    return slot;
}

std::size_t PropertyBag::Find(std::string_view name) const {
    RequireIndex();
    return m_Slots[SlotOf(name)];
}

void PropertyBag::RequireIndex() const {
    if (m_Slots.empty()) Index(kUsualSlots);
}

void PropertyBag::Index(std::size_t slots) const {
    m_Slots.assign(slots, 0);
    m_Count = 0;
    for (std::size_t at = kHeaderLength; at < m_Bytes.size();) {
        Reader reader(m_Bytes, at);
        const std::string_view name = reader.Name();
        if (2 * (m_Count + 1) > m_Slots.size()) return Index(2 * slots);
        std::size_t& slot = m_Slots[SlotOf(name)];
        if (slot != 0) {
            m_Slots.clear();  // half an index is none
            reader.RaiseInvalid("name \"" + std::string(name) + "\" again", at);
        }
        slot = at;
        ++m_Count;
        reader.SkipValue(reader.Type());
        at = reader.At();
    }
}

template <class T>
void PropertyBag::Append(std::string_view name, const T& value) {
    PutVarint(m_Bytes, name.size());
    PutBytes(m_Bytes, name.data(), name.size());
    ValueWriter{m_Bytes}(value);
}

template <class T>
void PropertyBag::Add(std::string_view name, const T& value) {
    Append(name, value);
    m_Slots.clear();
}

template void PropertyBag::Add(std::string_view name, const bool& value);
template void PropertyBag::Add(std::string_view name, const std::int32_t& value);
template void PropertyBag::Add(std::string_view name, const std::string& value);
template void PropertyBag::Add(std::string_view name, const ByteArray& value);
template void PropertyBag::Add(std::string_view name, const Variant& value);

void PropertyBag::WriteProperty(std::string_view name, const Variant& value) {
    RequireIndex();
    const std::size_t slot = SlotOf(name);
    if (m_Slots[slot] != 0) return Replace(m_Slots[slot], name, value);
    const std::size_t begin = m_Bytes.size();
    Append(name, value);
    m_Slots[slot] = begin;
    if (2 * ++m_Count > m_Slots.size()) Index(2 * m_Slots.size());
}

void PropertyBag::Replace(std::size_t begin, std::string_view name, const Variant& value) {
    Reader reader(m_Bytes, begin);
    reader.Name();
    reader.SkipValue(reader.Type());
    const std::size_t end = reader.At();
    const std::size_t added = m_Bytes.size();
    Append(name, value);
    const auto at = [this](std::size_t offset) { return m_Bytes.begin() + static_cast<std::ptrdiff_t>(offset); };
    const std::size_t length = m_Bytes.size() - added;
    std::rotate(at(begin), at(added), m_Bytes.end());
    m_Bytes.erase(at(begin + length), at(end + length));
    Index(m_Slots.size());
    m_Next = kHeaderLength;
}

bool PropertyBag::Exists(std::string_view name) const {
    return Find(name) != 0;
}

template <class T>
bool PropertyBag::Read(std::string_view name, T& field) const {
    if (ReadNext(name, field)) return true;
    const std::size_t begin = Find(name);
    if (begin == 0) return false;
    m_Next = begin;
    return ReadNext(name, field);
}

template <class T>
bool PropertyBag::ReadNext(std::string_view name, T& field) const {
    Reader reader(m_Bytes, m_Next);
    if (reader.Left() == 0 || reader.Name() != name) return false;
    reader.Into(field, reader.Type());
    m_Next = reader.At();
    return true;
}

template bool PropertyBag::Read(std::string_view name, bool& field) const;
template bool PropertyBag::Read(std::string_view name, std::int32_t& field) const;
template bool PropertyBag::Read(std::string_view name, std::string& field) const;
template bool PropertyBag::Read(std::string_view name, Variant& field) const;
template bool PropertyBag::ReadNext(std::string_view name, Variant& field) const;

Variant PropertyBag::ReadProperty(std::string_view name) const {
    Variant value;
    if (!Read(name, value)) throw Error(errors::MissingItem, "property bag: no entry \"" + std::string(name) + '"');
    return value;
}

Variant PropertyBag::ReadProperty(std::string_view name, const Variant& defaultValue) const {
    Variant value;
    return Read(name, value) ? value : defaultValue;
}

ByteArray PropertyBag::SealedContents() const {
    const std::size_t length = m_Bytes.size() + kSealLength;
    if (length > std::numeric_limits<std::uint32_t>::max()) {
        throw Error(errors::Overflow, "property bag: " + std::to_string(length) + " bytes are too many to be sealed");
    }
    ByteArray sealed;
    sealed.reserve(length);
    sealed = m_Bytes;
    sealed[kVersionOffset] = kSealedVersion;
    PutNumber(sealed, static_cast<std::uint32_t>(length));
    PutNumber(sealed, Crc32(sealed));
    return sealed;
}

void PropertyBag::Contents(ByteArray bytes) {
    if (bytes.size() > kVersionOffset && bytes[kVersionOffset] == kSealedVersion) BreakSeal(bytes);
    if (bytes.size() < kHeaderLength || !std::equal(std::begin(kHeader), std::end(kHeader), bytes.begin())) {
        Reader(bytes, 0).RaiseInvalid("no header", 0);
    }
    for (Reader reader(bytes, kHeaderLength); reader.Left() > 0;) {
        reader.Name();
        reader.SkipValue(reader.Type());
    }
    m_Bytes = std::move(bytes);
    m_Slots.clear();
    m_Next = kHeaderLength;
}

}  // namespace orvix
