// SPDX-License-Identifier: MIT
//
// Arrays that stand in files, and those that are installed.
#include "stream/array_file.h"

#include <cmath>
#include <filesystem>
#include <fstream>

#include "stream/streams.h"

namespace vekbf::test {
namespace {

class ArrayFile : public testing::Test {
 protected:
  ~ArrayFile() override { std::filesystem::remove_all(folder_); }
  std::string write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(folder_);
    std::ofstream(folder_ + "/" + name) << text;
    return folder_ + "/" + name;
  }
  static std::vector<int> picks(const Settings& settings) {
    int32_t taken[VEK_BF_MAX_MICS] = {};
    const int32_t count = VekStream_GetPicks(settings.get(), taken);
    return {taken, taken + count};
  }
  std::string folder_ = own_path("arrays");
};

std::string set(const Settings& settings, const char* key, const std::string& value) {
  return said(VekStream_Set(settings.get(), key, value.c_str()));
}

TEST_F(ArrayFile, APathGivesPositionsAndChannels) {
  // A colon does not make a path a shape.
  const std::string path = write("desk:1.conf",
                                 "# six channels\nmics = 0.05,0; 0,0.05; -0.05,0; 0,-0.05\n"
                                 "geometry = triangle\nchannels = 2,3,4,5\n");
  const Settings settings(VekStream_NewSettings());
  ASSERT_EQ(set(settings, "array", path), "");
  VekBfInit array{};
  ASSERT_EQ(said(VekStream_GetArray(settings.get(), 16000, &array)), "");
  EXPECT_EQ(array.micNum, 4);
  EXPECT_EQ(array.geometry, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  EXPECT_EQ(array.micCoordinate[0][0], 0.05f);
  EXPECT_EQ(array.micCoordinate[3][1], -0.05f);
  EXPECT_EQ(picks(settings), (std::vector<int>{2, 3, 4, 5}));
  EXPECT_EQ(said(VekStream_Check(settings.get(), 16000, 6)), "");
  // A sound of four channels is no sound of that device: it may be its first four channels.
  const std::string fault = said(VekStream_Check(settings.get(), 16000, 4));
  EXPECT_NE(fault.find("2,3,4,5"), std::string::npos) << fault;
  EXPECT_NE(fault.find("4 channels"), std::string::npos) << fault;
  EXPECT_NE(said(VekStream_Check(settings.get(), 16000, 1)).find("has 1 channel:"),
            std::string::npos);
  // What the user says wins, whichever comes first.
  EXPECT_EQ(set(settings, "channels", "1,2,3,4"), "");
  EXPECT_EQ(set(settings, "array", path), "");
  EXPECT_EQ(picks(settings), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(said(VekStream_Check(settings.get(), 16000, 4)), "");
}

TEST_F(ArrayFile, TheStreamTakesTheChannelsOfTheFile) {
  const std::string path = write("pair.conf", "array = line:2:40mm\nchannels = 4,2\n");
  const Settings by_file = settings_of({{"array", path.c_str()}});
  const Settings by_hand = settings_of({{"array", "line:2:40mm"}, {"channels", "4,2"}});
  std::vector<int16_t> sound(4 * 2048);
  for (size_t i = 0; i < sound.size(); i++) {
    sound[i] = static_cast<int16_t>(1000 * (i % 4) + i * 37 % 991 + 1);
  }
  std::vector<int16_t> beam[2];
  for (int which = 0; which < 2; which++) {
    VekStream* stream = nullptr;
    ASSERT_EQ(said(VekStream_Open((which == 0 ? by_file : by_hand).get(), 16000, 4, &stream)), "");
    beam[which].resize(2048);
    VekStream_ProcessInterleaved(stream, VEK_STREAM_S16, sound.data(), beam[which].data(), 2048);
    VekStream_Close(stream);
  }
  EXPECT_EQ(beam[0], beam[1]);
  EXPECT_NE(beam[0], std::vector<int16_t>(2048, 0));
}

TEST_F(ArrayFile, AnotherArrayForgetsTheChannels) {
  const std::string path = write("pair.conf", "array = line:2:40mm\nchannels = 4,2\n");
  for (const auto& [key, value] :
       std::vector<std::pair<const char*, const char*>>{{"array", "line:2:1m"}, {"mics", "0,0"}}) {
    const Settings settings = settings_of({{"array", path.c_str()}});
    EXPECT_EQ(picks(settings), (std::vector<int>{4, 2}));
    const Settings copy(VekStream_CopySettings(settings.get()));
    EXPECT_EQ(set(settings, key, value), "");
    EXPECT_EQ(picks(settings), (std::vector<int>{}));
    EXPECT_EQ(picks(copy), (std::vector<int>{4, 2}));
  }
}

TEST_F(ArrayFile, ANameIsAFileOfTheFolder) {
  write("desk-2.conf", "array = line:2:40mm\n");
  stream::Message message;
  stream::Values values = stream::default_values();
  EXPECT_TRUE(stream::take_array_file(stream::text_of("desk-2"), folder_.c_str(), values, message));
  EXPECT_EQ(values.micCount, 2);
  EXPECT_EQ(values.mic[1][0], 0.04f);
  EXPECT_FALSE(
      stream::take_array_file(stream::text_of("desk-3"), folder_.c_str(), values, message));
  EXPECT_NE(std::string(message.line()).find(folder_ + ", not 'desk-3'"), std::string::npos);
  message.clear();
  write("desk-4.conf", "angle = 60\n");
  EXPECT_FALSE(
      stream::take_array_file(stream::text_of("desk-4"), folder_.c_str(), values, message));
  EXPECT_NE(std::string(message.line()).find("desk-4.conf:1:"), std::string::npos);
  stream::release(values);
}

TEST_F(ArrayFile, FaultsNameTheFileAndTheLine) {
  const auto expect_fault = [&](const std::string& value, const std::vector<std::string>& words) {
    const Settings settings = settings_of({{"array", "line:3:40mm"}});
    const std::string line = set(settings, "array", value);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    for (const std::string& word : words) {
      EXPECT_NE(line.find(word), std::string::npos) << "no '" << word << "' in: " << line;
    }
    VekBfInit array{};
    EXPECT_EQ(said(VekStream_GetArray(settings.get(), 16000, &array)), "");
    EXPECT_EQ(array.micNum, 3);
  };
  expect_fault("no-such-array", {"array is ", "'no-such-array'", stream::arrays_folder()});
  expect_fault("./nowhere", {"array './nowhere'", "cannot be read"});
  expect_fault("nowhere.conf", {"array 'nowhere.conf'", "cannot be read"});
  expect_fault(write("a.conf", "array = line:2:40mm\nangle = 60\n"), {"a.conf:2: ", "not angle"});
  expect_fault(write("a.conf", "mics = 0,0; 1\n"), {"a.conf:1: ", "mics"});
  expect_fault(write("a.conf", "array = line:2:40mm\nchannels = 1,2,3\n"),
               {"a.conf: ", "channels", "2, not 3"});
  expect_fault(write("a.conf", "array = line:2:40mm\nchannels = 1\n"),
               {"a.conf: ", "channels", "2, not 1"});
  expect_fault(write("a.conf", "channels = 1,2\n"), {"a.conf: ", "no array"});
  expect_fault(write("a.conf", ""), {"a.conf: "});
  // A file that names a file could name itself.
  write("a.conf", "array = line:2:40mm\n");
  expect_fault(write("b.conf", "array = " + folder_ + "/a.conf\n"), {"b.conf:1: ", "array is "});
}

TEST_F(ArrayFile, TheInstalledOnesAreThoseOfTheTree) {
  EXPECT_STREQ(stream::arrays_folder(), VEKBF_EXPECTED_ARRAYS_FOLDER);
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEKBF_ARRAYS)) {
    SCOPED_TRACE(entry.path().string());
    count++;
    const Settings settings = settings_of({{"array", entry.path().c_str()}});
    VekBfInit array{};
    EXPECT_EQ(said(VekStream_GetArray(settings.get(), 16000, &array)), "");
    // Whoever reads it can see where it comes from, and how far to trust it.
    std::ifstream file(entry.path());
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_NE(text.find("# Source: "), std::string::npos);
    // No corner of a square is elsewhere than where the library takes it to be.
    if (array.geometry != VEK_BF_UNIFORM_TRIANGLE_ARRAY) continue;
    const float radius = array.micCoordinate[0][0];
    for (int m = 0; m < array.micNum; m++) {
      const float* const at = array.micCoordinate[m];
      EXPECT_FLOAT_EQ(at[0], m == 0 ? radius : m == 2 ? -radius : 0.0f);
      EXPECT_FLOAT_EQ(at[1], m == 1 ? radius : m == 3 ? -radius : 0.0f);
    }
  }
  EXPECT_GT(count, 2);
}

}  // namespace
}  // namespace vekbf::test
