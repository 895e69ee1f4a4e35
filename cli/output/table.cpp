#include "output/table.h"

#include "output/console.h"

#include <algorithm>
#include <numeric>

namespace portwright {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 8; // of the flexible column

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::size_t lengthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

// Leaves out the middle, as both ends of a path tell more.
std::string shortened(const std::string& text, std::size_t width) {
    if (lengthOf(text) <= width)
        return text;
    std::string head;
    std::string tail;
    std::size_t position = 0;
    const std::size_t headEnd = (width - 3) / 2;
    const std::size_t tailBegin = lengthOf(text) - (width - 3 - headEnd);
    for (const char byte : text) {
        position += startsCharacter(byte) ? 1 : 0;
        if (position <= headEnd)
            head += byte;
        else if (position > tailBegin)
            tail += byte;
    }
    return head + "..." + tail;
}

std::string cell(const std::string& text, std::size_t width, Table::Align align) {
    const auto shown = shortened(text, width);
    const std::string space(width - lengthOf(shown), ' ');
    return align == Table::Align::Left ? shown + space : space + shown;
}

} // namespace

// Of the columns that are shown.
std::vector<std::size_t> Table::widths(std::optional<std::size_t> limit) const {
    std::vector<std::size_t> result;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        auto width = lengthOf(columns_[i].title);
        for (const auto& row : rows_)
            width = std::max(width, lengthOf(row[i]));
        result.push_back(width);
    }
    if (limit)
        fit(result, *limit);
    return result;
}

// A terminal breaks a line that fills it to the last column. Where a narrow column is not enough, the last ones go.
void Table::fit(std::vector<std::size_t>& widths, std::size_t limit) const {
    const auto total = [&] { return std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1)); };
    if (total() < limit)
        return;
    auto& width = widths[flexible_];
    const auto excess = total() - limit + 1;
    width = std::max(std::min(width, kNarrowest), width > excess ? width - excess : 0);
    while (total() >= limit && widths.size() > flexible_ + 1)
        widths.pop_back();
}

std::string Table::line(const Row& row, const std::vector<std::size_t>& widths) const {
    std::string result;
    for (std::size_t i = 0; i < widths.size(); ++i)
        result += cell(row[i], widths[i], columns_[i].align) + std::string(kGap, ' ');
    result.erase(result.find_last_not_of(' ') + 1);
    return result;
}

void Table::print() const {
    const auto limits = widths(console::width(console::Stream::Output));
    Row titles;
    for (const auto& column : columns_)
        titles.push_back(column.title);
    auto text = console::emphasised(console::Stream::Output, line(titles, limits)) + "\n";
    for (const auto& row : rows_)
        text += line(row, limits) + "\n";
    console::print(text);
}

} // namespace portwright
