#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/variant.h"

namespace orvix {

enum class FieldType : std::uint8_t {
    Char = 1,      ///< fixed-length text, padded with blanks when stored and trimmed when read
    Currency = 2,  ///< fixed point, four decimals
    Boolean = 3,
};

/// May be null, nullable and updatable.
inline constexpr std::int32_t kFieldAttributes = 0x64;

struct FieldDefinition {
    std::string Name;
    FieldType Type = FieldType::Char;
    std::int32_t Size = 0;  ///< characters of a Char field, else 0
    std::int32_t Attributes = kFieldAttributes;
    friend bool operator==(const FieldDefinition&, const FieldDefinition&) = default;
};

/// In-memory table with typed columns. Column names match without regard to case.
///
/// A row is added with AddNew, filled with Set and made part of the table by Update; until then it is not counted. A
/// field that is not set is null. The cursor stands on a row or at the end; a sort is a permutation that changes the
/// order in which the cursor walks, not the rows.
///
/// Saved stream, all numbers little-endian:
///
///   4 bytes  "NB1R"
///   1 byte   version, 1
///   u16      count of columns, then for each: u8 length of the name, the name, u8 type, u16 size, i32 attributes
///   u32      count of rows
///   then for each column: one bit a row, low bit first, padded to whole bytes, set where the field is null; then the
///   values of all rows (nulls as zeros): Char `size` bytes, Currency i64 (value times 10000), Boolean one byte 0 or 1
class RecordSet {
public:
    /// Handle of a column, for filling many rows without looking names up.
    using Column = std::size_t;

    /// Raises General for a name above 255 characters and for a Char field without a size of 1 to 65535.
    explicit RecordSet(std::vector<FieldDefinition> fields);

    const std::vector<FieldDefinition>& Fields() const { return m_Fields; }
    /// Raises MissingItem, naming the column, when there is none of that name.
    Column ColumnOf(std::string_view name) const;

    /// Begins a row; one that was begun and not made part of the table is dropped.
    void AddNew();
    /// The same, but the fields keep what they had in the row that was begun before, if there was one.
    void AddNewAlike();
    /// Set a field of the row being added. Raise TypeMismatch when the column has another type, MissingItem for an
    /// unknown column and General when no row is being added. A text longer than the column is cut to its size.
    void Set(Column column, std::string_view text);
    /// A literal would otherwise convert to a boolean.
    void Set(Column column, const char* text) { Set(column, std::string_view(text)); }
    void Set(Column column, Currency value);
    void Set(Column column, bool value);
    /// Makes the row being added part of the table. Raises General when there is none.
    void Update();

    std::size_t RecordCount() const;

    /// "name asc" or "name desc" (asc when no direction is given), stable, nulls first; "" clears the sort. The cursor
    /// goes to the first row. Raises MissingItem for an unknown column and General for any other text.
    void Sort(std::string_view order);
    void MoveFirst();
    void MoveNext();
    /// True when the cursor is past the last row, and in an empty table.
    bool EndOfFile() const;
    /// Field of the current row: text, currency, boolean or null. Raises MissingItem for an unknown column or when
    /// there is no current row.
    Variant Field(std::string_view name) const;
    Variant Field(Column column) const;

    ByteArray Save() const;
    /// Raises InvalidContents, saying what is wrong and at which byte.
    static RecordSet Load(ByteView stream);

private:
    /// Where a column's value lies in a row. A row begins with a bit for each column, which is set where the field is
    /// not null.
    struct ColumnLayout {
        FieldType Type = FieldType::Char;
        std::size_t Width = 0;  // bytes of a value
        std::size_t Offset = 0;
        std::size_t SetByte = 0;
        std::uint8_t SetBit = 0;
    };
    class StreamReader;

    std::size_t BlockRows() const { return std::size_t{1} << m_BlockShift; }
    const std::uint8_t* RowAt(std::size_t row) const;
    std::uint8_t* RowAt(std::size_t row);
    bool IsSet(std::size_t row, const ColumnLayout& column) const;
    const std::uint8_t* Value(std::size_t row, const ColumnLayout& column) const;
    /// Marks a field of the row being added as set; returns the place of its value.
    std::uint8_t* Place(Column column, FieldType type);
    /// Puts the row being added behind the last one.
    void AppendRow();
    const ColumnLayout& LayoutOf(Column column) const;
    [[noreturn]] void RaiseCannotSet(Column column) const;
    std::vector<std::uint32_t> SortedRows(const ColumnLayout& column, bool descending) const;
    void AppendColumn(ByteArray& stream, const ColumnLayout& column) const;
    void LoadColumn(StreamReader& stream, const ColumnLayout& column);

    std::vector<FieldDefinition> m_Fields;
    std::vector<ColumnLayout> m_Layout;
    std::size_t m_RowLength = 0;
    unsigned m_BlockShift = 0;           // a full block has 2^m_BlockShift rows
    std::vector<ByteArray> m_Blocks;     // rows in blocks: a growing table is never copied
    ByteArray m_NewRow;                  // the row being added; nothing before the first
    std::vector<std::uint32_t> m_Order;  // rows in sorted order; empty without a sort
    std::size_t m_Rows = 0;
    std::size_t m_Cursor = 0;
    bool m_Adding = false;
};

// Setting fields is what filling a table costs, so it is inline.

inline std::uint8_t* RecordSet::Place(Column column, FieldType type) {
    if (!m_Adding || column >= m_Layout.size() || m_Layout[column].Type != type) RaiseCannotSet(column);
    const ColumnLayout& layout = m_Layout[column];
    m_NewRow[layout.SetByte] |= layout.SetBit;
    return m_NewRow.data() + layout.Offset;
}

inline void RecordSet::Set(Column column, std::string_view text) {
    std::uint8_t* const place = Place(column, FieldType::Char);
    const std::size_t width = m_Layout[column].Width;
    const std::size_t length = std::min(text.size(), width);
    std::memcpy(place, text.data(), length);
    if (length < width) std::memset(place + length, ' ', width - length);
}

inline void RecordSet::Set(Column column, Currency value) {
    std::memcpy(Place(column, FieldType::Currency), &value.Scaled, sizeof(value.Scaled));
}

inline void RecordSet::Set(Column column, bool value) {
    *Place(column, FieldType::Boolean) = value ? 1 : 0;
}

/// Readers that hold a table keep it when a mission builds the next one.
using RecordSetRef = std::shared_ptr<RecordSet>;

}  // namespace orvix
