#include "host/record_set.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "host/error.h"
#include "host/text.h"

namespace orvix {

namespace {

/// A block holds as many rows as fit in here, at least one: small tables stay small, large ones allocate seldom.
constexpr std::size_t kUsualBlockLength = 32768;
constexpr std::size_t kMaxRows = std::numeric_limits<std::uint32_t>::max();

std::size_t WidthOf(const FieldDefinition& field) {
    switch (field.Type) {
        case FieldType::Char:
            return static_cast<std::size_t>(field.Size);
        case FieldType::Currency:
            return sizeof(std::int64_t);
        case FieldType::Boolean:
            break;
    }
    return sizeof(std::uint8_t);
}

void CheckField(const FieldDefinition& field) {
    const bool isChar = field.Type == FieldType::Char;
    const bool sizeFits = isChar ? field.Size >= 1 && field.Size <= 65535 : field.Size == 0;
    if (!sizeFits || field.Name.size() > 255) {
        throw Error(errors::General, "record set: column \"" + field.Name + "\" cannot have the size " +
                                         std::to_string(field.Size) + " or its name is too long");
    }
}

[[noreturn]] void RaiseMissingColumn(std::string_view name) {
    throw Error(errors::MissingItem, "record set: no column \"" + std::string(name) + '"');
}

/// Order of a fixed-size value as an unsigned number.
std::uint64_t SortKey(const std::uint8_t* value, FieldType type) {
    if (type == FieldType::Boolean) return *value;
    std::uint64_t bits = 0;
    std::memcpy(&bits, value, sizeof(bits));
    return bits ^ std::uint64_t{1} << 63;
}

struct SortOrder {
    std::string_view Column;
    bool Descending;
};

SortOrder ParseSortOrder(std::string_view order) {
    const std::size_t first = order.find_first_not_of(' ');
    const std::string_view trimmed = order.substr(first, order.find_last_not_of(' ') - first + 1);
    const std::size_t nameEnd = trimmed.find(' ');
    if (nameEnd == std::string_view::npos) return {trimmed, false};
    const std::string_view direction = trimmed.substr(trimmed.find_first_not_of(' ', nameEnd));
    const bool descending = EqualsIgnoringCase(direction, "desc");
    if (!descending && !EqualsIgnoringCase(direction, "asc")) {
        throw Error(errors::General, "record set: no sort order: \"" + std::string(order) + '"');
    }
    return {trimmed.substr(0, nameEnd), descending};
}

}  // namespace

RecordSet::RecordSet(std::vector<FieldDefinition> fields) : m_Fields(std::move(fields)) {
    m_RowLength = (m_Fields.size() + 7) / 8;
    for (const FieldDefinition& field : m_Fields) {
        CheckField(field);
        const std::size_t position = m_Layout.size();
        const std::size_t width = WidthOf(field);
        m_Layout.push_back(
            {field.Type, width, m_RowLength, position / 8, static_cast<std::uint8_t>(1U << position % 8)});
        m_RowLength += width;
    }
    const std::size_t rows = std::max<std::size_t>(kUsualBlockLength / std::max<std::size_t>(m_RowLength, 1), 1);
    m_BlockShift = static_cast<unsigned>(std::bit_width(rows) - 1);
}

RecordSet::Column RecordSet::ColumnOf(std::string_view name) const {
    const auto found = std::find_if(m_Fields.begin(), m_Fields.end(),
                                    [&](const FieldDefinition& f) { return EqualsIgnoringCase(f.Name, name); });
    if (found == m_Fields.end()) RaiseMissingColumn(name);
    return static_cast<Column>(found - m_Fields.begin());
}

const RecordSet::ColumnLayout& RecordSet::LayoutOf(Column column) const {
    if (column >= m_Layout.size()) RaiseMissingColumn('#' + std::to_string(column));
    return m_Layout[column];
}

const std::uint8_t* RecordSet::RowAt(std::size_t row) const {
    return m_Blocks[row >> m_BlockShift].data() + (row & (BlockRows() - 1)) * m_RowLength;
}

std::uint8_t* RecordSet::RowAt(std::size_t row) {
    return m_Blocks[row >> m_BlockShift].data() + (row & (BlockRows() - 1)) * m_RowLength;
}

bool RecordSet::IsSet(std::size_t row, const ColumnLayout& column) const {
    return (RowAt(row)[column.SetByte] & column.SetBit) != 0;
}

const std::uint8_t* RecordSet::Value(std::size_t row, const ColumnLayout& column) const {
    return RowAt(row) + column.Offset;
}

void RecordSet::RaiseCannotSet(Column column) const {
    LayoutOf(column);
    if (!m_Adding) throw Error(errors::General, "record set: no row is being added");
    throw Error(errors::TypeMismatch, "record set: value of another type for column \"" + m_Fields[column].Name + '"');
}

void RecordSet::AppendRow() {
    if (m_Rows >= kMaxRows) throw Error(errors::Overflow, "record set: too many rows");
    if (m_Rows >> m_BlockShift == m_Blocks.size()) m_Blocks.emplace_back().reserve(m_RowLength << m_BlockShift);
    m_Blocks.back().insert(m_Blocks.back().end(), m_NewRow.begin(), m_NewRow.end());
    ++m_Rows;
}

void RecordSet::AddNew() {
    m_NewRow.assign(m_RowLength, 0);
    m_Adding = true;
}

void RecordSet::AddNewAlike() {
    m_NewRow.resize(m_RowLength);
    m_Adding = true;
}

void RecordSet::Update() {
    if (!m_Adding) throw Error(errors::General, "record set: no row is being added");
    AppendRow();
    m_Adding = false;
    if (!m_Order.empty()) m_Order.push_back(static_cast<std::uint32_t>(m_Rows - 1));
}

std::size_t RecordSet::RecordCount() const {
    return m_Rows;
}

std::vector<std::uint32_t> RecordSet::SortedRows(const ColumnLayout& column, bool descending) const {
    std::vector<std::uint32_t> order;
    order.reserve(m_Rows);
    struct Item {
        std::uint64_t Key;
        std::uint32_t Row;
    };
    std::vector<Item> items;
    items.reserve(m_Rows);
    for (std::uint32_t row = 0; row < m_Rows; ++row) {
        if (!IsSet(row, column)) {
            order.push_back(row);
        } else if (column.Type == FieldType::Char) {
            items.push_back({0, row});
        } else {
            const std::uint64_t key = SortKey(Value(row, column), column.Type);
            items.push_back({descending ? ~key : key, row});
        }
    }
    if (column.Type == FieldType::Char) {
        std::stable_sort(items.begin(), items.end(), [&](const Item& a, const Item& b) {
            const int difference = std::memcmp(Value(a.Row, column), Value(b.Row, column), column.Width);
            return descending ? difference > 0 : difference < 0;
        });
    } else {
        std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.Key < b.Key; });
    }
    for (const Item& item : items)
        order.push_back(item.Row);
    return order;
}

void RecordSet::Sort(std::string_view order) {
    if (order.find_first_not_of(' ') == std::string_view::npos) {
        m_Order.clear();
    } else {
        const SortOrder wanted = ParseSortOrder(order);
        m_Order = SortedRows(m_Layout[ColumnOf(wanted.Column)], wanted.Descending);
    }
    MoveFirst();
}

void RecordSet::MoveFirst() {
    m_Cursor = 0;
}

void RecordSet::MoveNext() {
    if (!EndOfFile()) ++m_Cursor;
}

bool RecordSet::EndOfFile() const {
    return m_Cursor >= m_Rows;
}

Variant RecordSet::Field(std::string_view name) const {
    return Field(ColumnOf(name));
}

Variant RecordSet::Field(Column column) const {
    const ColumnLayout& layout = LayoutOf(column);
    if (EndOfFile()) throw Error(errors::MissingItem, "record set: no current row");
    const std::size_t row = m_Order.empty() ? m_Cursor : m_Order[m_Cursor];
    if (!IsSet(row, layout)) return Null{};
    const std::uint8_t* const value = Value(row, layout);
    if (layout.Type == FieldType::Boolean) return *value != 0;
    if (layout.Type == FieldType::Currency) {
        Currency currency;
        std::memcpy(&currency.Scaled, value, sizeof(currency.Scaled));
        return currency;
    }
    const std::string_view text(reinterpret_cast<const char*>(value), layout.Width);
    return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

}  // namespace orvix
