#include "cli/output/Table.h"

#include <errno.h>
#include <libsmartcols/libsmartcols.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace varnockctl {
namespace {

constexpr std::string_view kAbsent = "-";
/// The narrowest column of texts.
constexpr std::size_t kLeastWidth = 3;
/// A text of this width is never shortened: longer ones in other columns have more to spare.
constexpr std::size_t kShortWidth = 12;
constexpr std::size_t kIndent = 2;

struct Hue {
    std::string_view state;
    const char* name;  ///< as libsmartcols knows it
};
constexpr std::array<Hue, 6> kHues{{{"note", "brown"},
                                    {"warning", "brown"},
                                    {"problem", "red"},
                                    {"critical", "red"},
                                    {"failed", "red"},
                                    {"absent", "darkgray"}}};

const char* hueOf(std::string_view state) {
    const auto* const found = std::find_if(kHues.begin(), kHues.end(),
                                           [&](const Hue& hue) { return hue.state == state; });
    return found != kHues.end() ? found->name : nullptr;
}

bool isScalar(const Json& value) {
    return !value.IsObject() && !value.IsArray();
}

std::string scalarText(const Json& value, const Screen& screen) {
    if (value.IsString()) {
        return shownText({value.GetString(), value.GetStringLength()}, screen);
    }
    return value.IsNull() ? std::string(kAbsent) : toString(value, false);
}

/// A value in one cell; the items of a list are separated by blanks.
std::string cellText(const Json& value, const Screen& screen) {
    if (!value.IsArray()) {
        return isScalar(value) ? scalarText(value, screen)
                               : shownText(toString(value, false), screen);
    }
    std::string line;
    for (const Json& item : value.GetArray()) {
        line += (line.empty() ? "" : " ") + cellText(item, screen);
    }
    return line;
}

/// Whether a value is shown beside its name, and not below.
bool isInLine(const Json& value) {
    return isScalar(value) || (value.IsArray() && (value.Empty() || isScalar(value[0])));
}

struct Column {
    std::string name;
    enum class Kind { number, text, wrapped, tree } kind = Kind::text;
    std::size_t limit = 0;  ///< of the texts; 0: none
};

struct Line {
    std::vector<std::string> cells;
    std::size_t parent = 0;  ///< the number of the line above, from 1 on; 0: none
    const char* hue = nullptr;
};

/// Cells for libsmartcols, which arranges them.
class Grid {
  public:
    explicit Grid(const Screen& screen) : screen_(screen) {}

    std::vector<Column> columns;
    std::vector<Line> lines;
    bool hasNames = true;
    const char* separator = " ";

    std::string text();

  private:
    using Table = std::unique_ptr<libscols_table, decltype(&scols_unref_table)>;

    Table arranged() const;
    void addColumns(libscols_table* table) const;
    void addLines(libscols_table* table) const;
    bool hasLongText(std::size_t column) const;
    std::string cellFor(const Column& column, const std::string& text) const;
    static std::string printed(libscols_table* table);

    const Screen& screen_;
};

/// libsmartcols only cuts the texts that do not fit, so the first arrangement tells the widths, for
/// which they are shortened.
std::string Grid::text() {
    const DisplayLocale locale(screen_);
    if (screen_.width != 0) {
        const Table table = arranged();
        printed(table.get());
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::size_t width =
                scols_column_get_width(scols_table_get_column(table.get(), i));
            columns[i].limit = std::max(width, kLeastWidth);
        }
    }
    return printed(arranged().get());
}

Grid::Table Grid::arranged() const {
    Table table(scols_new_table(), scols_unref_table);
    if (!table || scols_table_set_column_separator(table.get(), separator) != 0) {
        throw std::bad_alloc();
    }
    // The cells have no control characters; without this, their backslashes would be escaped.
    scols_table_enable_noencoding(table.get(), 1);
    scols_table_enable_noheadings(table.get(), hasNames ? 0 : 1);
    scols_table_enable_ascii(table.get(), screen_.hasGlyphs ? 0 : 1);
    scols_table_enable_colors(table.get(), screen_.hasColour ? 1 : 0);
    if (screen_.width != 0) {
        scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_ALWAYS);
        scols_table_set_termwidth(table.get(), screen_.width);
        scols_table_enable_nowrap(table.get(), 1);
    } else {
        scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_NEVER);
    }
    addColumns(table.get());
    addLines(table.get());
    return table;
}

void Grid::addColumns(libscols_table* table) const {
    using Kind = Column::Kind;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Column& column = columns[i];
        int flags = column.kind == Kind::number ? SCOLS_FL_RIGHT
                    : column.kind == Kind::tree ? SCOLS_FL_TREE
                                                : 0;
        if (screen_.width != 0 && hasLongText(i)) {
            flags |= column.kind == Kind::text      ? SCOLS_FL_TRUNC
                     : column.kind == Kind::wrapped ? SCOLS_FL_WRAP
                                                    : 0;
        }
        libscols_column* const added =
            scols_table_new_column(table, hasNames ? column.name.c_str() : "", 0, flags);
        if (added == nullptr) {
            throw std::bad_alloc();
        }
        if (column.kind == Kind::wrapped && column.limit != 0) {
            scols_column_set_wrapfunc(added, scols_wrapnl_chunksize, scols_wrapnl_nextchunk,
                                      nullptr);
        }
    }
}

bool Grid::hasLongText(std::size_t column) const {
    return std::any_of(lines.begin(), lines.end(), [&](const Line& line) {
        return column < line.cells.size() && columnsOf(line.cells[column]) > kShortWidth;
    });
}

std::string Grid::cellFor(const Column& column, const std::string& text) const {
    if (column.limit == 0) {
        return text;
    }
    switch (column.kind) {
        case Column::Kind::text:
            return clipped(text, column.limit, screen_);
        case Column::Kind::wrapped:
            return wrapped(text, column.limit);
        default:
            return text;
    }
}

void Grid::addLines(libscols_table* table) const {
    std::vector<libscols_line*> added;
    for (const Line& line : lines) {
        libscols_line* const parent = line.parent != 0 ? added[line.parent - 1] : nullptr;
        added.push_back(scols_table_new_line(table, parent));
        if (added.back() == nullptr) {
            throw std::bad_alloc();
        }
        scols_line_set_color(added.back(), line.hue);
        for (std::size_t i = 0; i < line.cells.size(); ++i) {
            const std::string cell = cellFor(columns[i], line.cells[i]);
            if (scols_line_set_data(added.back(), i, cell.c_str()) == -ENOMEM) {
                throw std::bad_alloc();
            }
        }
    }
}

std::string Grid::printed(libscols_table* table) {
    char* text = nullptr;
    if (scols_print_table_to_string(table, &text) != 0) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<char, decltype(&free)> owner(text, free);
    return std::string(text) + "\n";
}

const char* hueOfRow(const Json& row) {
    const auto state = row.FindMember("state");
    return state != row.MemberEnd() && state->value.IsString() ? hueOf(state->value.GetString())
                                                               : nullptr;
}

/// The grid of a list of objects: the columns are the members of the first one.
Grid gridOf(const Json& rows, const char* wrappedMember, const Screen& screen) {
    Grid grid(screen);
    for (const auto& member : rows[0].GetObject()) {
        const bool isWrapped = wrappedMember != nullptr && member.name == wrappedMember;
        const bool isNumber = std::any_of(rows.Begin(), rows.End(), [&](const Json& row) {
            const auto found = row.FindMember(member.name);
            return found != row.MemberEnd() && found->value.IsNumber();
        });
        grid.columns.push_back({scalarText(member.name, screen), isWrapped  ? Column::Kind::wrapped
                                                                 : isNumber ? Column::Kind::number
                                                                            : Column::Kind::text});
    }
    for (const Json& row : rows.GetArray()) {
        Line line{.cells = {}, .hue = hueOfRow(row)};
        for (const auto& member : rows[0].GetObject()) {
            const auto found = row.FindMember(member.name);
            line.cells.push_back(found != row.MemberEnd() ? cellText(found->value, screen) : "");
        }
        grid.lines.push_back(std::move(line));
    }
    return grid;
}

/// Adds the members of an object: those of objects in it stand below its name.
void addMember(Grid& grid, const Json& name, const Json& value, std::size_t parent,
               const Screen& screen) {
    std::string cell = value.IsObject() ? "" : cellText(value, screen);
    if (cell.empty() && !value.IsObject()) {
        cell = kAbsent;
    }
    grid.lines.push_back({{scalarText(name, screen), std::move(cell)}, parent, nullptr});
    if (value.IsObject()) {
        const std::size_t own = grid.lines.size();
        for (const auto& member : value.GetObject()) {
            addMember(grid, member.name, member.value, own, screen);
        }
    }
}

std::string indented(const std::string& text) {
    std::string out;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        out.append(kIndent, ' ').append(text, begin, end - begin).append(1, '\n');
        begin = end + 1;
    }
    return out;
}

/// A tree of the members, and below it a table for each list of objects.
std::string objectTable(const Json& object, const Screen& screen) {
    Grid grid(screen);
    grid.columns = {{"name", Column::Kind::tree}, {"value", Column::Kind::wrapped}};
    grid.hasNames = false;
    grid.separator = "  ";
    std::string lists;
    Screen inner = screen;
    inner.width -= screen.width > kIndent ? kIndent : 0;
    for (const auto& member : object.GetObject()) {
        if (member.value.IsArray() && !isInLine(member.value)) {
            lists +=
                scalarText(member.name, screen) + '\n' + indented(toTable(member.value, inner));
        } else {
            addMember(grid, member.name, member.value, 0, screen);
        }
    }
    return (grid.lines.empty() ? "" : grid.text()) + lists;
}

}  // namespace

std::string toTable(const Json& value, const Screen& screen) {
    if (value.IsObject()) {
        return objectTable(value, screen);
    }
    if (!value.IsArray()) {
        return scalarText(value, screen) + "\n";
    }
    if (value.Empty()) {
        return {};
    }
    if (value[0].IsObject()) {
        return gridOf(value, nullptr, screen).text();
    }
    std::string lines;
    for (const Json& item : value.GetArray()) {
        lines += scalarText(item, screen) + "\n";
    }
    return lines;
}

std::string toPlainTable(const Json& rows, const char* wrapped, const Screen& screen) {
    if (rows.Empty()) {
        return {};
    }
    Grid grid = gridOf(rows, wrapped, screen);
    grid.hasNames = false;
    return grid.text();
}

}  // namespace varnockctl
