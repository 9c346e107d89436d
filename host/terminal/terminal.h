#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace mcgate::host {

/// How a piece of text is meant; colour says nothing that the words don't.
enum class Tone { Plain, Good, Bad };

struct Piece {
    std::string text;
    Tone tone = Tone::Plain;
};
using Row = std::vector<Piece>;  ///< pieces with nothing between them

/// A place for lines, and on a terminal for some live rows below them that are drawn anew in place.
/// Threads: any. A lock over the rows is held while the terminal takes what is written, as with any standard error;
/// `rows` is called under it, on the thread that draws.
class Terminal {
public:
    struct Size {
        std::size_t columns = 80;
        std::size_t lines = 24;
    };
    struct Device {
        std::function<void(std::string_view)> write;
        std::function<Size()> size;  ///< asked at each drawing; empty: no terminal, so that nothing live is drawn
        bool colours = false;
    };
    /// Gives rows for so much room; what is more is cut.
    using Rows = std::function<std::vector<Row>(const Size& room)>;

    explicit Terminal(Device device) : device_(std::move(device)) {}
    /// Takes the live rows away.
    ~Terminal() { show(nullptr); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Whether anything live is drawn.
    bool isLive() const noexcept { return static_cast<bool>(device_.size); }
    /// Writes text of whole lines above the live rows. Control characters that would tear those become '?'.
    void print(const std::string& lines);
    /// Draws these rows from now on, with each call and below each print; null: none.
    void show(Rows rows);

    /// Standard error: live where it is a terminal and TERM tells of one that can move its cursor; in colours unless
    /// NO_COLOR is set to anything.
    static Device standardError();

private:
    void redraw(const std::string& lines);
    std::string takenAway() const;
    std::string drawn();

    const Device device_;
    std::mutex lock_;
    Rows rows_;
    std::size_t height_ = 0;  ///< of what is drawn now
};

/// Puts fields into as many rows as they need, with two spaces between them and all but the first row indented.
std::vector<Row> flow(const std::vector<Piece>& fields, std::size_t columns);

/// Lays a table out, each column as wide as its widest cell; the first so many to the left, those of figures to the
/// right. Columns at the end that find no place are left out.
std::vector<Row> table(const std::vector<Row>& cells, std::size_t columns, std::size_t ofText);

}  // namespace mcgate::host
