#include "screen_map.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

namespace jv {
namespace {

// The ends of lines that meet in a cell.
constexpr std::uint8_t kUp = 1, kDown = 2, kLeft = 4, kRight = 8;

using Characters = std::array<std::string_view, 16>;  // by the ends
constexpr Characters kUnicode = {" ", "│", "│", "│", "─", "┘", "┐", "┤", "─", "└", "┌", "├", "─", "┴", "┬", "┼"};
constexpr Characters kAscii = {" ", "|", "|", "|", "-", "+", "+", "+", "-", "+", "+", "+", "-", "+", "+", "+"};

struct Cell {
  std::uint8_t ends = 0;
  char text = 0;  ///< instead of the lines
};

struct Box {
  int left, top, right, bottom;  ///< the cells that its lines run through
};

class Canvas {
 public:
  Canvas(int columns, int rows)
      : columns_(columns), rows_(rows), cells_(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

  void draw(const Box& box) {
    for (const int row : {box.top, box.bottom}) {
      for (int column = box.left; column < box.right; ++column) {
        at(column, row).ends |= kRight;
        at(column + 1, row).ends |= kLeft;
      }
    }
    for (const int column : {box.left, box.right}) {
      for (int row = box.top; row < box.bottom; ++row) {
        at(column, row).ends |= kDown;
        at(column, row + 1).ends |= kUp;
      }
    }
  }

  void write(int column, int row, std::string_view text) {
    for (const char character : text) at(column++, row).text = character;
  }

  [[nodiscard]] std::string lines(const Characters& characters) const {
    std::string all;
    for (int row = 0; row < rows_; ++row) {
      std::string line;
      for (int column = 0; column < columns_; ++column) {
        const Cell& cell = cells_[index(column, row)];
        cell.text != 0 ? line += cell.text : line += characters[cell.ends];
      }
      line.erase(line.find_last_not_of(' ') + 1);
      all += line + '\n';
    }
    return all;
  }

 private:
  [[nodiscard]] std::size_t index(int column, int row) const {
    return static_cast<std::size_t>(std::clamp(row, 0, rows_ - 1)) * static_cast<std::size_t>(columns_) +
           static_cast<std::size_t>(std::clamp(column, 0, columns_ - 1));
  }
  Cell& at(int column, int row) { return cells_[index(column, row)]; }

  int columns_;
  int rows_;
  std::vector<Cell> cells_;
};

/// From points to cells, which are twice as high as they are wide.
class Projection {
 public:
  Projection(std::span<const MapScreen> screens, const MapStyle& style) {
    double right = -HUGE_VAL, bottom = HUGE_VAL;
    for (const MapScreen& screen : screens) {
      const NSRect& frame = screen.frame;
      left_ = std::min(left_, frame.origin.x);
      right = std::max(right, frame.origin.x + frame.size.width);
      bottom = std::min(bottom, frame.origin.y);
      top_ = std::max(top_, frame.origin.y + frame.size.height);
    }
    width_ = right - left_;
    height_ = top_ - bottom;
    scale_ = std::min((style.columns - 1) / width_, 2 * (style.rows - 1) / height_);
  }

  [[nodiscard]] bool isDrawable() const {
    return std::isfinite(width_) && std::isfinite(height_) && width_ > 0 && height_ > 0;
  }
  [[nodiscard]] bool isInside(NSPoint point) const {
    return point.x >= left_ && point.x <= left_ + width_ && point.y <= top_ && point.y >= top_ - height_;
  }
  [[nodiscard]] int column(double x) const { return static_cast<int>(std::lround((x - left_) * scale_)); }
  [[nodiscard]] int row(double y) const { return static_cast<int>(std::lround((top_ - y) * scale_ / 2)); }
  [[nodiscard]] int columns() const { return column(left_ + width_) + 1; }
  [[nodiscard]] int rows() const { return row(top_ - height_) + 1; }
  [[nodiscard]] Box box(const NSRect& frame) const {
    return {column(frame.origin.x), row(frame.origin.y + frame.size.height), column(frame.origin.x + frame.size.width),
            row(frame.origin.y)};
  }

 private:
  double left_ = HUGE_VAL, top_ = -HUGE_VAL;
  double width_ = 0, height_ = 0;
  double scale_ = 0;
};

bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char character) { return character >= ' ' && character <= '~'; });
}

/// Writes what fits into the middle of @p box: number and name, or the number alone, and the size below.
void label(Canvas& canvas, const Box& box, std::size_t number, const MapScreen& screen) {
  const auto room = static_cast<std::size_t>(std::max(box.right - box.left - 1, 0));
  std::vector<std::string> lines = {std::to_string(number)};
  if (isPlain(screen.name) && lines[0].size() + 1 + screen.name.size() <= room) lines[0] += ' ' + screen.name;
  lines.push_back(shortest(screen.frame.size.width) + "x" + shortest(screen.frame.size.height));
  if (box.bottom - box.top < 3) lines.pop_back();
  int row = (box.top + box.bottom - static_cast<int>(lines.size()) + 1) / 2;
  for (const std::string& line : lines) {
    if (line.size() <= room) canvas.write(box.left + 1 + static_cast<int>((room - line.size()) / 2), row, line);
    ++row;
  }
}

}  // namespace

std::string mapOf(std::span<const MapScreen> screens, std::optional<NSPoint> mark, const MapStyle& style) {
  const Projection projection(screens, style);
  if (!projection.isDrawable()) return {};
  Canvas canvas(projection.columns(), projection.rows());
  for (const MapScreen& screen : screens) canvas.draw(projection.box(screen.frame));
  for (std::size_t i = 0; i < screens.size(); ++i) {
    label(canvas, projection.box(screens[i].frame), i + 1, screens[i]);
  }
  if (mark && projection.isInside(*mark)) canvas.write(projection.column(mark->x), projection.row(mark->y), "*");
  return canvas.lines(style.lines ? kUnicode : kAscii);
}

std::string shortest(double number) {
  std::array<char, 32> digits;
  // Without an exponent as long as that is short: 100000 rather than 1e+05.
  const double size = std::fabs(number);
  const bool isPlain = size == 0 || (size >= 1e-6 && size < 1e15);
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                 isPlain ? std::chars_format::fixed : std::chars_format::general);
  return {digits.data(), end.ptr};
}

}  // namespace jv
