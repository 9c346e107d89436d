#include "terminal/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace mcgate::host {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }  // a character of UTF-8
bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

std::size_t widthOf(const std::string& text) {
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), continues));
}

std::string cut(const std::string& text, std::size_t columns) {
    std::size_t end = 0;
    for (std::size_t width = 0; end < text.size(); ++end) {
        if (!continues(text[end]) && ++width > columns) break;
    }
    return text.substr(0, end);
}

std::string harmless(std::string text, const char* allowed = "") {
    std::replace_if(
        text.begin(), text.end(),
        [allowed](char c) { return isControl(c) && std::string_view(allowed).find(c) == std::string_view::npos; }, '?');
    return text;
}

std::string rowText(const Row& row, std::size_t columns, bool colours) {
    std::string result;
    std::size_t room = columns;
    for (const auto& piece : row) {
        const std::string text = cut(harmless(piece.text), room);
        room -= widthOf(text);
        const bool coloured = colours && piece.tone != Tone::Plain && !text.empty();
        if (coloured) result += piece.tone == Tone::Good ? "\x1b[32m" : "\x1b[31m";
        result += text;
        if (coloured) result += "\x1b[0m";
    }
    return result;
}

// Two spaces stand before all but the first cell, and what its column is wider than a cell on one side of it.
void addCell(Row& row, const Piece& cell, std::size_t room, bool toTheRight) {
    row.push_back({std::string((row.empty() ? 0 : kGap) + (toTheRight ? room : 0), ' '), Tone::Plain});
    row.push_back(cell);
    row.push_back({std::string(toTheRight ? 0 : room, ' '), Tone::Plain});
}

void writeToStandardError(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR) return;
        if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    }
}

Terminal::Size sizeOfStandardError() {
    winsize size{};
    Terminal::Size result;
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) result.columns = size.ws_col;
    if (size.ws_row > 0) result.lines = size.ws_row;
    return result;
}

}  // namespace

Terminal::Device Terminal::standardError() {
    Device device{writeToStandardError, nullptr, false};
    const char* const kind = std::getenv("TERM");
    if (::isatty(STDERR_FILENO) == 0 || kind == nullptr || *kind == 0 || std::string_view(kind) == "dumb")
        return device;
    device.size = sizeOfStandardError;
    const char* const without = std::getenv("NO_COLOR");
    device.colours = without == nullptr || *without == 0;
    return device;
}

void Terminal::print(const std::string& lines) {
    const std::lock_guard hold(lock_);
    if (isLive()) {
        redraw(harmless(lines, "\n\t"));
    } else {
        device_.write(lines);
    }
}

void Terminal::show(Rows rows) {
    if (!isLive()) return;
    const std::lock_guard hold(lock_);
    rows_ = std::move(rows);
    redraw({});
}

void Terminal::redraw(const std::string& lines) {
    std::string text = takenAway() + lines;
    text += drawn();  // the height of what was there before has been used by now
    if (!text.empty()) device_.write(text);
}

// The cursor stands at the end of the last row. A terminal that became narrower may have broken rows into more: those
// stay, since going up by them would take lines away where it didn't.
std::string Terminal::takenAway() const {
    if (height_ == 0) return {};
    return height_ > 1 ? "\r\x1b[" + std::to_string(height_ - 1) + "A\x1b[J" : "\r\x1b[J";
}

std::string Terminal::drawn() {
    height_ = 0;
    if (!rows_) return {};
    const Size size = device_.size();
    // What a terminal does with a row as wide as itself differs; a row that scrolled away can't be drawn anew.
    const Size room{std::max<std::size_t>(size.columns, 2) - 1, std::max<std::size_t>(size.lines, 2) - 1};
    std::string text;
    for (const auto& row : rows_(room)) {
        if (height_ == room.lines) break;
        text += (height_ > 0 ? "\n" : "") + rowText(row, room.columns, device_.colours);
        ++height_;
    }
    return text;
}

std::vector<Row> flow(const std::vector<Piece>& fields, std::size_t columns) {
    std::vector<Row> rows;
    std::size_t used = 0;
    for (const auto& field : fields) {
        const std::size_t width = widthOf(field.text);
        const bool fits = !rows.empty() && used + kGap + width <= columns;
        if (fits) rows.back().push_back({std::string(kGap, ' '), Tone::Plain});
        if (!fits) rows.push_back(rows.empty() ? Row() : Row{{std::string(kIndent, ' '), Tone::Plain}});
        if (!fits) used = rows.size() > 1 ? kIndent : 0;
        used += width + (fits ? kGap : 0);
        rows.back().push_back(field);
    }
    return rows;
}

std::vector<Row> table(const std::vector<Row>& cells, std::size_t columns, std::size_t ofText) {
    std::vector<std::size_t> widths;
    for (const auto& row : cells) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i].text));
    }
    std::size_t used = 0;
    std::size_t shown = 0;
    while (shown < widths.size() && used + widths[shown] <= columns) used += widths[shown++] + kGap;
    shown = std::max<std::size_t>(shown, std::min<std::size_t>(widths.size(), 1));
    std::vector<Row> rows;
    for (const auto& row : cells) {
        rows.emplace_back();
        for (std::size_t i = 0; i < std::min(shown, row.size()); ++i) {
            addCell(rows.back(), row[i], widths[i] - widthOf(row[i].text), i >= ofText);
        }
    }
    return rows;
}

}  // namespace mcgate::host
