// SPDX-License-Identifier: MIT
#include "settings.h"

#include <array>

#include "failure.h"

namespace vekbf_tool {

namespace {

void expect_none(const char* fault) {
  if (fault != nullptr) throw UsageError(fault);
}

}  // namespace

Settings::Settings() : handle_(VekStream_NewSettings()) { set("keep-time", "no"); }

Settings::Settings(const Settings& other) : handle_(VekStream_CopySettings(other.get())) {}

Settings& Settings::operator=(const Settings& other) {
  handle_.reset(VekStream_CopySettings(other.get()));
  return *this;
}

void Settings::set(const std::string& key, const std::string& value) {
  expect_none(VekStream_Set(get(), key.c_str(), value.c_str()));
}

void Settings::read_file(const std::string& path, VekStreamOther* other, void* user) {
  expect_none(VekStream_ReadFileWith(get(), path.c_str(), other, user));
}

void Settings::check() const { expect_none(VekStream_Check(get(), 0, 0)); }

std::string Settings::text(const std::string& key) const {
  const char* const text = VekStream_Get(get(), key.c_str());
  return text != nullptr ? text : "";
}

double Settings::number(const std::string& key) const {
  return VekStream_GetNumber(get(), key.c_str());
}

VekBfInit Settings::array() const {
  VekBfInit array{};
  expect_none(VekStream_GetArray(get(), 0, &array));
  return array;
}

std::vector<int> Settings::picks() const {
  std::array<std::int32_t, VEK_BF_MAX_MICS> picks{};
  const std::int32_t count = VekStream_GetPicks(get(), picks.data());
  return {picks.begin(), picks.begin() + count};
}

}  // namespace vekbf_tool
