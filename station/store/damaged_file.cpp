#include "station/store/damaged_file.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

#include "host/date.h"
#include "host/text.h"

namespace orvix::station {
namespace {

namespace fs = std::filesystem;
using platform::SqliteConnection;

// No number in a key is larger, however long a station runs and whatever it takes for the time of day; what is larger
// is damaged.
constexpr std::int64_t kMost = 10'000'000'000'000;

int ColumnsIn(std::string_view list) {
    return static_cast<int>(std::count(list.begin(), list.end(), ',')) + 1;
}

std::string Marks(std::size_t count) {
    std::string marks = "(?";
    for (std::size_t column = 1; column < count; ++column)
        marks += ", ?";
    return marks + ")";
}

std::string InsertInto(const CopiedTable& table) {
    return std::string("INSERT OR IGNORE INTO ") + table.Name + "(" + table.Columns + ") VALUES" +
           Marks(static_cast<std::size_t>(ColumnsIn(table.Columns)));
}

std::string SelectFrom(const CopiedTable& table, bool isBackward) {
    const std::string key = table.Key;
    return std::string("SELECT ") + table.Columns + ", " + key + " FROM " + table.Name + " WHERE (" + key + ") " +
           (isBackward ? "<= " : ">= ") + Marks(static_cast<std::size_t>(ColumnsIn(key))) + " ORDER BY " +
           (isBackward ? ReplaceAll(key, ",", " DESC,") + " DESC" : key);
}

/// One way through a table, from its begin or its end.
class TablePass {
public:
    TablePass(SqliteConnection& from, SqliteConnection& to, const CopiedTable& table, bool isBackward)
        : m_To(to),
          m_Columns(ColumnsIn(table.Columns)),
          m_Direction(isBackward ? -1 : 1),
          m_Start(static_cast<std::size_t>(ColumnsIn(table.Key)), isBackward ? kMost : 0),
          m_Select(from, SelectFrom(table, isBackward)),
          m_Insert(to, InsertInto(table)) {}

    /// Copies what can be read. Returns whether that is all.
    bool Copy() {
        auto key = m_Start;
        if (CopyFrom(key)) return true;
        for (auto next = Ahead(key, 0); next && !CopyFrom(*next);)
            next = Ahead(*next, 0);
        return false;
    }
    std::int64_t Copied() const { return m_Copied; }

private:
    using Key = std::vector<std::int64_t>;

    /// Copies from a key on, which becomes that of the latest row. Returns false at a row that cannot be read. What
    /// cannot be written is raised.
    bool CopyFrom(Key& key) {
        Find(key);
        while (const auto isRow = Next()) {
            if (!*isRow) return true;
            TakeKey(key);
            for (int column = 0; column < m_Columns; ++column)
                m_Insert.Bind(column + 1, m_Select, column);
            m_Insert.Run();
            m_Copied += m_To.Changes();
        }
        return false;
    }

    /// Next is at a row with this key, or the first behind it.
    void Find(const Key& key) {
        m_Select.Reset();
        for (std::size_t column = 0; column < key.size(); ++column)
            m_Select.Bind(static_cast<int>(column) + 1, key[column]);
    }

    /// Goes to the next row. Returns whether there is one; nothing when it cannot be read.
    std::optional<bool> Next() {
        try {
            return m_Select.Step();
        } catch (const platform::UnusableDatabase&) {
            return std::nullopt;
        }
    }

    void TakeKey(Key& key) {
        auto found = key;
        for (std::size_t column = 0; column < key.size(); ++column)
            found[column] = m_Select.LongNumber(m_Columns + static_cast<int>(column));
        const bool isSound =
            std::all_of(found.begin(), found.end(), [](auto number) { return number >= 0 && number <= kMost; });
        if (isSound && (m_Direction > 0 ? found > key : found < key)) key = found;
    }

    /// A key behind one at which nothing can be read, that has the same numbers before a column; nothing: there is
    /// none. Looks ever farther ahead of the damage, and then back for the begin of what it has found.
    std::optional<Key> Ahead(const Key& key, std::size_t column) {
        const bool isLast = column + 1 == key.size();
        auto found = isLast ? std::nullopt : Ahead(key, column + 1);
        if (found) return found;
        const std::int64_t factor = isLast ? 2 : 16;
        const auto end = m_Direction > 0 ? kMost - key[column] : key[column];
        std::int64_t damaged = 0;
        std::int64_t ahead = std::min<std::int64_t>(1, end);
        for (; ahead > damaged && !(found = Beyond(key, column, ahead)); ahead = std::min(factor * ahead, end))
            damaged = ahead;
        while (found && ahead - damaged > 1) {
            const auto middle = damaged + (ahead - damaged) / 2;
            auto nearer = Beyond(key, column, middle);
            (nearer ? ahead : damaged) = middle;
            if (nearer) found = std::move(nearer);
        }
        return found;
    }

    /// The first key that can be read from so far ahead in a column on, with the same number there if need be.
    std::optional<Key> Beyond(Key key, std::size_t column, std::int64_t ahead) {
        key[column] += m_Direction * ahead;
        std::copy(m_Start.begin() + static_cast<std::ptrdiff_t>(column) + 1, m_Start.end(),
                  key.begin() + static_cast<std::ptrdiff_t>(column) + 1);
        Find(key);
        if (Next()) return key;
        return column + 1 < key.size() ? Ahead(key, column + 1) : std::nullopt;
    }

    SqliteConnection& m_To;
    const int m_Columns;
    const std::int64_t m_Direction;
    const Key m_Start;
    platform::SqliteStatement m_Select;
    platform::SqliteStatement m_Insert;
    std::int64_t m_Copied = 0;
};

}  // namespace

std::int64_t CopyTable(SqliteConnection& from, SqliteConnection& to, const CopiedTable& table) {
    TablePass forward(from, to, table, false);
    if (forward.Copy()) return forward.Copied();
    // At a damaged begin, of the table or of rows that belong together, the way back knows better how far that goes.
    TablePass backward(from, to, table, true);
    backward.Copy();
    return forward.Copied() + backward.Copied();
}

std::string AsideName(const std::string& file, std::int64_t now) {
    return file + ".damaged-" + Format(FromUnixMilliseconds(now), "yyyymmdd-hhnnss");
}

void RemoveDatabase(const std::string& file) {
    for (const char* companion : {"", "-wal", "-shm", "-journal"})
        fs::remove(file + companion);
}

void PutInPlace(const std::string& file, const std::string& made, const std::string& aside) {
    for (const char* companion : {"-wal", "-shm"}) {
        std::error_code ignored;
        fs::rename(file + companion, aside + companion, ignored);
    }
    std::error_code error;
    // With a second name for the old one there is a file at any moment.
    fs::create_hard_link(file, aside, error);
    if (error) fs::rename(file, aside);
    fs::rename(made, file);
}

}  // namespace orvix::station
