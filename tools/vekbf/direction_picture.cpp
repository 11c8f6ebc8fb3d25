// SPDX-License-Identifier: MIT
#include "direction_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "array.h"
#include "text.h"

namespace vekbf_tool {

namespace {

constexpr double kWidth = 900;
constexpr double kHeight = 360;
constexpr double kLeft = 50;
constexpr double kTop = 40;
constexpr double kMargin = 45;  // to the right and below
constexpr double kPlotWidth = kWidth - kLeft - kMargin;
constexpr double kPlotHeight = kHeight - kTop - kMargin;
constexpr int kStrengths = 4;
constexpr int kDegreeStep = 30;

int strength_of(const VekDirState& state) {
  if (state.heard == 0) return 0;
  return 1 + std::clamp(static_cast<int>(state.confidence * kStrengths), 0, kStrengths - 1);
}

// 1, 2 or 5 times a power of ten, such that about ten marks stand on the axis.
double mark_step(double seconds) {
  const double power = std::pow(10, std::floor(std::log10(seconds / 10)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (seconds / (factor * power) <= 10) return factor * power;
  }
  return 10 * power;
}

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

std::string line(double x1, double y1, double x2, double y2) {
  char text[96];
  std::snprintf(text, sizeof text, "M%.1f %.1fL%.1f %.1f", x1, y1, x2, y2);
  return text;
}

std::string label(double x, double y, const char* anchor, const std::string& text) {
  char head[96];
  std::snprintf(head, sizeof head, R"(<text x="%.1f" y="%.1f" text-anchor="%s">)", x, y, anchor);
  return std::string(head).append(text).append("</text>\n");
}

}  // namespace

DirectionPicture::DirectionPicture(int sampleRate, const Settings& settings)
    : rate_(sampleRate), highest_(is_line(settings.array()) ? 180 : 360) {
  VekStream_GetDirectionConfig(settings.get(), &sector_);
}

void DirectionPicture::after_block(long long frames, const VekDirState& state) {
  const long long from = std::exchange(frames_, frames);
  if (state.angle < 0) return;
  const int strength = strength_of(state);
  if (!stretches_.empty()) {
    Stretch& last = stretches_.back();
    if (last.angle == state.angle && last.strength == strength && last.to == from) {
      last.to = frames;
      return;
    }
  }
  stretches_.push_back({from, frames, state.angle, strength});
}

std::string DirectionPicture::svg(const std::string& title) const {
  const double seconds = std::max(static_cast<double>(frames_) / rate_, 0.1);
  const auto x = [&](double time) { return kLeft + kPlotWidth * time / seconds; };
  const auto y = [&](double degrees) { return kTop + kPlotHeight * (1 - degrees / highest_); };
  std::string marks;
  std::string grid;
  for (int degrees = 0; degrees <= highest_; degrees += kDegreeStep) {
    grid += line(kLeft, y(degrees), kLeft + kPlotWidth, y(degrees));
    marks += label(kLeft - 6, y(degrees) + 4, "end", std::to_string(degrees));
  }
  const double step = mark_step(seconds);
  for (int i = 0; i * step <= seconds; i++) {
    grid += line(x(i * step), kTop, x(i * step), kTop + kPlotHeight);
    marks += label(x(i * step), kTop + kPlotHeight + 16, "middle", plain_number(i * step));
  }
  marks += label(kLeft + kPlotWidth / 2, kHeight - 8, "middle", "seconds");
  marks += label(kLeft, kTop - 12, "start", "degrees, " + escaped(printable(title)));
  std::array<std::string, kStrengths + 1> paths;
  for (const Stretch& each : stretches_) {
    const double from = x(static_cast<double>(each.from) / rate_);
    const double to = x(static_cast<double>(each.to) / rate_);
    paths[static_cast<std::size_t>(each.strength)] += line(from, y(each.angle), to, y(each.angle));
  }
  std::string svg =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" viewBox=\"0 0 900 360\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n"
      "<rect width=\"900\" height=\"360\" fill=\"white\"/>\n";
  svg += "<path d=\"" + grid + "\" stroke=\"#ddd\"/>\n";
  for (const int bound : {sector_.sectorFrom, sector_.sectorTo}) {
    const int degrees = (bound % 360 + 360) % 360;
    if (sector_.sectorFrom == sector_.sectorTo || degrees > highest_) continue;
    svg += "<path class=\"sector\" d=\"" + line(kLeft, y(degrees), kLeft + kPlotWidth, y(degrees)) +
           "\" stroke=\"#c33\" stroke-dasharray=\"6 4\"/>\n";
  }
  for (std::size_t strength = 0; strength < paths.size(); strength++) {
    if (paths[strength].empty()) continue;
    const double opacity = strength == 0 ? 0.5 : static_cast<double>(strength) / kStrengths;
    svg += std::string("<path class=\"") + (strength == 0 ? "kept" : "heard") + "\" d=\"" +
           paths[strength] + "\" stroke=\"#06c\" stroke-width=\"" + (strength == 0 ? "1" : "4") +
           "\" stroke-opacity=\"" + plain_number(opacity) + "\"/>\n";
  }
  return svg + marks + "</svg>\n";
}

}  // namespace vekbf_tool
