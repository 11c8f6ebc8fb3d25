// SPDX-License-Identifier: MIT
#include "plan.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "array.h"

namespace vekbf_tool {

namespace {

// The ring in lines; the outermost microphones lie within kReach of its radius.
constexpr int kRingRows = 10;
constexpr double kReach = 0.6;
constexpr double kLookReach = 0.8;
constexpr int kLabelRoom = 4;  // columns beside the ring
constexpr int kMiddle = 2 * kRingRows + kLabelRoom;
constexpr int kMarkStep = 30;  // degrees

struct Cell {
  int row;
  int column;
};

class Canvas {
 public:
  Canvas() : lines_(2 * kRingRows + 1, std::string(2 * kMiddle + 1, ' ')) {}
  // The text with its middle on the cell.
  void put(Cell cell, const std::string& text) {
    const auto half = static_cast<std::ptrdiff_t>(text.size() / 2);
    std::copy(text.begin(), text.end(), line(cell.row).begin() + cell.column - half);
  }
  char at(Cell cell) { return line(cell.row)[static_cast<std::size_t>(cell.column)]; }
  std::string text() const {
    std::string all;
    for (const std::string& line : lines_) {
      all.append(line, 0, line.find_last_not_of(' ') + 1).append(1, '\n');
    }
    return all;
  }

 private:
  std::string& line(int row) { return lines_[static_cast<std::size_t>(row)]; }
  std::vector<std::string> lines_;
};

Cell on_ring(double degrees, double reach) {
  const double angle = degrees * std::numbers::pi / 180;
  return {kRingRows - static_cast<int>(std::lround(reach * kRingRows * std::sin(angle))),
          kMiddle + static_cast<int>(std::lround(reach * 2 * kRingRows * std::cos(angle)))};
}

// The label of a mirrored angle of a line, in parentheses, with blanks around it.
std::string label(int degrees, bool isLine) {
  const std::string blank(1, ' ');
  if (!isLine || degrees <= 180) return blank + std::to_string(degrees) + blank;
  return blank + "(" + std::to_string(360 - degrees) + ")" + blank;
}

void draw_ring(Canvas& canvas, bool isLine) {
  for (int degrees = 0; degrees < 360; degrees += 10) canvas.put(on_ring(degrees, 1), ".");
  for (int degrees = 0; degrees < 360; degrees += kMarkStep) {
    canvas.put(on_ring(degrees, 1), label(degrees, isLine));
  }
}

// Metres to cells: the middle of the array, or of the circle that it lies on, is the middle of the
// ring.
class Scale {
 public:
  Scale(const VekBfInit& array, const std::vector<Position>& used) {
    if (is_line(array)) {
      const auto [low, high] = std::minmax_element(
          used.begin(), used.end(), [](const Position& a, const Position& b) { return a.x < b.x; });
      x_ = (static_cast<double>(low->x) + high->x) / 2;
      y_ = low->y;
    }
    double extent = 0;
    for (const std::vector<Position>& places : {used, given_positions(array)}) {
      for (const Position& p : places) {
        extent = std::max({extent, std::fabs(p.x - x_), std::fabs(p.y - y_)});
      }
    }
    metresPerColumn = extent / (kReach * 2 * kRingRows);
  }
  Cell cell(const Position& p) const {
    if (metresPerColumn == 0) return {kRingRows, kMiddle};
    return {kRingRows - static_cast<int>(std::lround((p.y - y_) / metresPerColumn / 2)),
            kMiddle + static_cast<int>(std::lround((p.x - x_) / metresPerColumn))};
  }
  double metresPerColumn = 0;

 private:
  double x_ = 0;
  double y_ = 0;
};

bool overlap(const Cell& a, const Cell& b, int width) {
  return a.row == b.row && std::abs(a.column - b.column) < width;
}

// [0] where there is room for all of them, 0 otherwise; # for several in one cell.
bool draw_microphones(Canvas& canvas, const std::vector<Cell>& cells) {
  bool tight = false;
  bool shared = false;
  for (std::size_t a = 0; a < cells.size(); a++) {
    for (std::size_t b = 0; b < a; b++) tight = tight || overlap(cells[a], cells[b], 4);
  }
  for (std::size_t m = 0; m < cells.size(); m++) {
    const bool several = std::count_if(cells.begin(), cells.end(), [&](const Cell& other) {
                           return overlap(cells[m], other, 1);
                         }) > 1;
    shared = shared || several;
    const std::string name(1, several ? '#' : static_cast<char>('0' + m));
    canvas.put(cells[m], tight ? name : std::string(1, '[').append(name).append(1, ']'));
  }
  return shared;
}

}  // namespace

Plan draw_plan(const VekBfInit& array, int angle) {
  const std::vector<Position> used = library_positions(array);
  const Scale scale(array, used);
  std::vector<Cell> cells;
  std::transform(used.begin(), used.end(), std::back_inserter(cells),
                 [&](const Position& p) { return scale.cell(p); });
  Plan plan;
  plan.metresPerColumn = scale.metresPerColumn;
  Canvas canvas;
  draw_ring(canvas, is_line(array));
  if (is_line(array)) {
    const auto [low, high] =
        std::minmax_element(cells.begin(), cells.end(),
                            [](const Cell& a, const Cell& b) { return a.column < b.column; });
    for (int c = low->column; c <= high->column; c++) canvas.put({low->row, c}, "-");
  } else {
    canvas.put({kRingRows, kMiddle}, "+");
  }
  const std::vector<Position> given = given_positions(array);
  for (std::size_t m = 0; m < used.size(); m++) {
    if (!same_place(given[m], used[m])) canvas.put(scale.cell(given[m]), "x");
  }
  plan.shared = draw_microphones(canvas, cells);
  const bool apart = std::any_of(used.begin(), used.end(), [&](const Position& p) {
    return p.x != used[0].x || p.y != used[0].y;
  });
  plan.looks = apart && has_steering(array);
  if (plan.looks) {
    canvas.put(on_ring(angle % 360, kLookReach), "*");
    if (is_line(array)) canvas.put(on_ring(-(angle % 360), kLookReach), "*");
  }
  plan.picture = canvas.text();
  return plan;
}

}  // namespace vekbf_tool
