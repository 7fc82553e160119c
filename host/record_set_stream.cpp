#include <algorithm>
#include <limits>

#include "host/byte_reader.h"
#include "host/error.h"
#include "host/record_set.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr std::uint8_t kStreamHeader[] = {'N', 'B', '1', 'R', 1};
constexpr std::size_t kMaxColumns = std::numeric_limits<std::uint16_t>::max();
constexpr std::size_t kShortestColumn = 8;  // one without a name

template <class Number>
void Append(ByteArray& stream, Number value) {
    const auto bits = static_cast<std::uint64_t>(value);
    for (std::size_t i = 0; i < sizeof(value); ++i)
        stream.push_back(static_cast<std::uint8_t>(bits >> 8 * i));
}

std::size_t NullBitsLength(std::size_t rows) {
    return (rows + 7) / 8;
}

bool BitAt(const std::uint8_t* bits, std::size_t i) {
    return (bits[i / 8] >> i % 8 & 1) != 0;
}

}  // namespace

class RecordSet::StreamReader : public ByteReader {
public:
    explicit StreamReader(ByteView bytes) : ByteReader("record set", bytes, 0) {}

    std::vector<FieldDefinition> ReadFields() {
        const std::size_t start = At();
        const std::size_t count = Read<std::uint16_t>();
        if (count > Left() / kShortestColumn) {
            RaiseInvalid(std::to_string(count) + " columns do not match the length", start);
        }
        std::vector<FieldDefinition> fields;
        fields.reserve(count);
        while (fields.size() < count)
            fields.push_back(ReadField());
        return fields;
    }

private:
    FieldDefinition ReadField() {
        const std::size_t start = At();
        FieldDefinition field;
        field.Name = BytesToText(Bytes(Read<std::uint8_t>()));
        const auto type = Read<std::uint8_t>();
        field.Type = static_cast<FieldType>(type);
        field.Size = Read<std::uint16_t>();
        field.Attributes = Read<std::int32_t>();
        const bool isChar = field.Type == FieldType::Char;
        if (type < static_cast<std::uint8_t>(FieldType::Char) || type > static_cast<std::uint8_t>(FieldType::Boolean) ||
            isChar != (field.Size > 0)) {
            RaiseInvalid("column of unknown type or wrong size", start);
        }
        return field;
    }
};

void RecordSet::AppendColumn(ByteArray& stream, const ColumnLayout& column) const {
    const std::size_t nullBits = stream.size();
    stream.resize(nullBits + NullBitsLength(m_Rows));
    for (std::size_t row = 0; row < m_Rows; ++row) {
        if (!IsSet(row, column)) stream[nullBits + row / 8] |= static_cast<std::uint8_t>(1U << row % 8);
    }
    for (std::size_t row = 0; row < m_Rows; ++row) {
        const std::uint8_t* const value = Value(row, column);
        stream.insert(stream.end(), value, value + column.Width);
    }
}

ByteArray RecordSet::Save() const {
    if (m_Fields.size() > kMaxColumns) throw Error(errors::Overflow, "record set: too many columns to save");
    ByteArray stream(std::begin(kStreamHeader), std::end(kStreamHeader));
    Append(stream, static_cast<std::uint16_t>(m_Fields.size()));
    for (const FieldDefinition& field : m_Fields) {
        Append(stream, static_cast<std::uint8_t>(field.Name.size()));
        stream.insert(stream.end(), field.Name.begin(), field.Name.end());
        Append(stream, static_cast<std::uint8_t>(field.Type));
        Append(stream, static_cast<std::uint16_t>(field.Size));
        Append(stream, field.Attributes);
    }
    Append(stream, static_cast<std::uint32_t>(m_Rows));
    std::size_t length = stream.size();
    for (const ColumnLayout& column : m_Layout)
        length += NullBitsLength(m_Rows) + m_Rows * column.Width;
    stream.reserve(length);
    for (const ColumnLayout& column : m_Layout)
        AppendColumn(stream, column);
    return stream;
}

void RecordSet::LoadColumn(StreamReader& stream, const ColumnLayout& column) {
    const ByteView nullBits = stream.Bytes(NullBitsLength(m_Rows));
    const std::size_t start = stream.At();
    const ByteView values = stream.Bytes(m_Rows * column.Width);
    for (std::size_t row = 0; row < m_Rows; ++row) {
        if (BitAt(nullBits.data(), row)) continue;
        const std::uint8_t* const value = values.data() + row * column.Width;
        if (column.Type == FieldType::Boolean && *value > 1) stream.RaiseInvalid("no boolean", start + row);
        RowAt(row)[column.SetByte] |= column.SetBit;
        std::memcpy(RowAt(row) + column.Offset, value, column.Width);
    }
}

RecordSet RecordSet::Load(ByteView bytes) {
    StreamReader stream(bytes);
    const ByteView header = stream.Bytes(std::min(sizeof(kStreamHeader), bytes.size()));
    if (!std::equal(header.begin(), header.end(), std::begin(kStreamHeader), std::end(kStreamHeader)))
        stream.RaiseInvalid("no header", 0);
    RecordSet table(stream.ReadFields());
    const std::size_t start = stream.At();
    const std::size_t rows = stream.Read<std::uint32_t>();
    // Compared before anything is allocated. No row is wider than 2^32 bytes, so that the sum fits.
    std::size_t rowLength = 0;
    for (const ColumnLayout& column : table.m_Layout)
        rowLength += column.Width;
    const bool fits = rows == 0 || (rowLength > 0 && rows <= stream.Left() / rowLength);
    if (!fits || stream.Left() != rows * rowLength + table.m_Layout.size() * NullBitsLength(rows)) {
        stream.RaiseInvalid(std::to_string(rows) + " rows do not match the length", start);
    }
    if (rows > 0) table.m_NewRow.resize(table.m_RowLength);
    while (table.m_Rows < rows)
        table.AppendRow();
    for (const ColumnLayout& column : table.m_Layout)
        table.LoadColumn(stream, column);
    return table;
}

}  // namespace orvix
