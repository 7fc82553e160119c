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

std::uint8_t* PutVarint(std::uint8_t* to, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7)
        *to++ = static_cast<std::uint8_t>(value | 0x80);
    *to++ = static_cast<std::uint8_t>(value);
    return to;
}

/// Writes type and value of an entry, of text and byte array the length only; returns the end.
struct ValueWriter {
    std::uint8_t* To;

    std::uint8_t* operator()(std::monostate) const { return Put(kEmpty); }
    std::uint8_t* operator()(Null) const { return Put(kNull); }
    std::uint8_t* operator()(bool value) const { return Put(value ? kTrue : kFalse); }
    std::uint8_t* operator()(std::int16_t value) const { return PutVarint(Put(kInt16), ZigZag(value)); }
    std::uint8_t* operator()(std::int32_t value) const { return PutVarint(Put(kInt32), ZigZag(value)); }
    std::uint8_t* operator()(float value) const { return PutFixed(kSingle, value); }
    std::uint8_t* operator()(double value) const { return PutFixed(kDouble, value); }
    std::uint8_t* operator()(Currency value) const { return PutFixed(kCurrency, value.Scaled); }
    std::uint8_t* operator()(Date value) const { return PutFixed(kDate, value.Days); }
    std::uint8_t* operator()(const std::string& value) const { return PutVarint(Put(kText), value.size()); }
    std::uint8_t* operator()(const ByteArray& value) const { return PutVarint(Put(kByteArray), value.size()); }

private:
    std::uint8_t* Put(EntryType type) const {
        *To = type;
        return To + 1;
    }
    template <class Number>
    std::uint8_t* PutFixed(EntryType type, Number value) const {
        std::memcpy(Put(type), &value, sizeof(value));
        return To + 1 + sizeof(value);
    }
};

/// Writes type and value of a variant or of a value that one can hold.
template <class T>
std::uint8_t* PutValue(std::uint8_t* to, const T& value) {
    return ValueWriter{to}(value);
}
std::uint8_t* PutValue(std::uint8_t* to, const Variant& value) {
    return std::visit(ValueWriter{to}, value.Get());
}

/// The bytes of a text or a byte array, nothing of other values.
template <class T>
ByteView Payload(const T&) {
    return {};
}
ByteView Payload(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
ByteView Payload(const ByteArray& bytes) {
    return bytes;
}
ByteView Payload(const Variant& value) {
    return std::visit([](const auto& held) { return Payload(held); }, value.Get());
}

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

    ByteView Value(std::uint8_t type) {
        switch (type) {
            case kEmpty:
            case kNull:
            case kFalse:
            case kTrue:
                return {};
            case kInt16:
                return IntegerBytes<std::int16_t>();
            case kInt32:
                return IntegerBytes<std::int32_t>();
            case kSingle:
                return Bytes(sizeof(float));
            case kDouble:
            case kCurrency:
            case kDate:
                return Bytes(sizeof(double));
            case kText:
            case kByteArray:
                return Bytes(Varint());
            default:
                RaiseInvalid("unknown type " + std::to_string(type), At() - 1);
        }
    }

private:
    /// Kept out of line: nearly all numbers have one byte.
    [[gnu::noinline]] std::uint64_t LongVarint(std::uint64_t byte) {
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

    template <class Integer>
    ByteView IntegerBytes() {
        Reader ahead = *this;
        const std::uint64_t code = ahead.Varint();
        const ByteView bytes = Bytes(ahead.At() - At());
        if (bytes.size() == 1) return bytes;  // and fits
        const std::int64_t value = FromZigZag(code);
        if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max()) {
            RaiseInvalid("integer beyond its type", At() - bytes.size());
        }
        return bytes;
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

std::int32_t DecodeInteger(ByteView value) {
    return static_cast<std::int32_t>(FromZigZag(Reader(value, 0).Varint()));
}

Variant Decode(std::uint8_t type, ByteView value) {
    Reader reader(value, 0);
    switch (type) {
        case kNull:
            return Null{};
        case kFalse:
            return false;
        case kTrue:
            return true;
        case kInt16:
            return static_cast<std::int16_t>(FromZigZag(reader.Varint()));
        case kInt32:
            return DecodeInteger(value);
        case kSingle:
            return reader.Read<float>();
        case kDouble:
            return reader.Read<double>();
        case kCurrency:
            return Currency{reader.Read<std::int64_t>()};
        case kDate:
            return Date{reader.Read<double>()};
        case kText:
            return std::string(AsText(value));
        case kByteArray:
            return ByteArray(value.begin(), value.end());
        default:
            return {};
    }
}

// Into a field: without a variant between when the entry is of the field's own type.
void DecodeInto(bool& field, std::uint8_t type, ByteView value) {
    field = type == kTrue || (type != kFalse && Decode(type, value).ToBoolean());
}
void DecodeInto(std::int32_t& field, std::uint8_t type, ByteView value) {
    field = type == kInt32 ? DecodeInteger(value) : Decode(type, value).ToLong();
}
void DecodeInto(std::string& field, std::uint8_t type, ByteView value) {
    if (type == kText) {
        field = AsText(value);
    } else {
        field = Decode(type, value).ToText();
    }
}
void DecodeInto(Variant& field, std::uint8_t type, ByteView value) {
    field = Decode(type, value);
}

}  // namespace

PropertyBag::PropertyBag() : m_Next(kHeaderLength) {
    m_Bytes.reserve(kUsualLength);
    m_Bytes.assign(std::begin(kHeader), std::end(kHeader));
}

PropertyBag::PropertyBag(ByteArray contents) : m_Bytes(std::move(contents)), m_Next(kHeaderLength) {
    Index(kUsualSlots);
}

PropertyBag::Entry PropertyBag::Parse(ByteView bytes, std::size_t at) {
    Reader reader(bytes, at);
    Entry entry;
    entry.Begin = at;
    entry.Name = reader.Name();
    entry.Type = reader.Read<std::uint8_t>();
    entry.Value = reader.Value(entry.Type);
    entry.End = reader.At();
    return entry;
}

std::size_t PropertyBag::SlotOf(std::string_view name) const {
    const std::size_t mask = m_Slots.size() - 1;  // their number is a power of two
    std::size_t slot = mask & std::hash<std::string_view>{}(name);
    while (m_Slots[slot] != 0 && Reader(m_Bytes, m_Slots[slot]).Name() != name)
        slot = (slot + 1) & mask;
    return slot;
}

bool PropertyBag::Find(std::string_view name, Entry& entry) const {
    if (m_Next < m_Bytes.size()) {
        entry = Parse(m_Bytes, m_Next);
        if (entry.Name == name) return true;
    }
    RequireIndex();
    const std::size_t begin = m_Slots[SlotOf(name)];
    if (begin == 0) return false;
    entry = Parse(m_Bytes, begin);
    return true;
}

void PropertyBag::RequireIndex() const {
    if (m_Slots.empty()) Index(kUsualSlots);
}

void PropertyBag::Index(std::size_t slots) const {
    m_Slots.assign(slots, 0);
    m_Count = 0;
    for (std::size_t at = kHeaderLength; at < m_Bytes.size();) {
        const Entry entry = Parse(m_Bytes, at);
        if (2 * (m_Count + 1) > m_Slots.size()) return Index(2 * slots);
        std::size_t& slot = m_Slots[SlotOf(entry.Name)];
        if (slot != 0) Reader(m_Bytes, 0).RaiseInvalid("name \"" + std::string(entry.Name) + "\" again", at);
        slot = at;
        ++m_Count;
        at = entry.End;
    }
}

template <class T>
void PropertyBag::Append(std::string_view name, const T& value) {
    const ByteView payload = Payload(value);
    const std::size_t begin = m_Bytes.size();
    m_Bytes.resize(begin + kMaxVarintLength + name.size() + 1 + kMaxVarintLength + payload.size());
    std::uint8_t* to = PutVarint(m_Bytes.data() + begin, name.size());
    to = std::copy(name.begin(), name.end(), to);
    to = PutValue(to, value);
    to = std::copy(payload.begin(), payload.end(), to);
    m_Bytes.resize(static_cast<std::size_t>(to - m_Bytes.data()));
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
    if (m_Slots[slot] != 0) return Replace(Parse(m_Bytes, m_Slots[slot]), name, value);
    const std::size_t begin = m_Bytes.size();
    Append(name, value);
    m_Slots[slot] = begin;
    if (2 * ++m_Count > m_Slots.size()) Index(2 * m_Slots.size());
}

void PropertyBag::Replace(Entry old, std::string_view name, const Variant& value) {
    const std::size_t added = m_Bytes.size();
    Append(name, value);
    const auto at = [this](std::size_t offset) { return m_Bytes.begin() + static_cast<std::ptrdiff_t>(offset); };
    const std::size_t length = m_Bytes.size() - added;
    std::rotate(at(old.Begin), at(added), m_Bytes.end());
    m_Bytes.erase(at(old.Begin + length), at(old.End + length));
    Index(m_Slots.size());
    m_Next = kHeaderLength;
}

bool PropertyBag::Exists(std::string_view name) const {
    Entry entry;
    return Find(name, entry);
}

template <class T>
bool PropertyBag::Read(std::string_view name, T& field) const {
    Entry entry;
    if (!Find(name, entry)) return false;
    m_Next = entry.End;
    DecodeInto(field, entry.Type, entry.Value);
    return true;
}

template bool PropertyBag::Read(std::string_view name, bool& field) const;
template bool PropertyBag::Read(std::string_view name, std::int32_t& field) const;
template bool PropertyBag::Read(std::string_view name, std::string& field) const;
template bool PropertyBag::Read(std::string_view name, Variant& field) const;

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
    *this = PropertyBag(std::move(bytes));
}

}  // namespace orvix
