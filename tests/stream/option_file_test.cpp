// SPDX-License-Identifier: MIT
//
// The file of settings, and that of angles.
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "stream/streams.h"

namespace vekbf::test {
namespace {

class OptionFile : public testing::Test {
 protected:
  ~OptionFile() override { std::remove(path_.c_str()); }
  const char* write(const std::string& text) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    return path_.c_str();
  }
  std::string read(const std::string& text) {
    return said(VekStream_ReadFile(settings_.get(), write(text)));
  }
  std::string set(const char* key, const char* value) {
    return said(VekStream_Set(settings_.get(), key, value));
  }
  std::string get(const char* key) {
    const char* text = VekStream_Get(settings_.get(), key);
    return text == nullptr ? "nothing" : text;
  }
  void expect_fault(const std::string& text, const std::vector<std::string>& words) {
    SCOPED_TRACE(text.substr(0, 60));
    const std::string angle = get("angle");
    const std::string line = read(text);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    for (const std::string& word : words) {
      EXPECT_NE(line.find(word), std::string::npos) << "no '" << word << "' in: " << line;
    }
    // All or nothing.
    EXPECT_EQ(get("angle"), angle);
  }
  std::string path_ = own_path("options.ini");
  Settings settings_{VekStream_NewSettings()};
};

TEST_F(OptionFile, LinesAreKeysAndValues) {
  EXPECT_EQ(read("# the desk\n"
                 "; of the lab\r\n"
                 "\n"
                 "  array = \"line:4:35mm\"  # by the tape\r\n"
                 "angle=-20\n"
                 "\talgorithm\t=\tadaptive # tuned\n"
                 "keep-time = 'no'\n"
                 "channels = 1, 3,5,7\n"
                 "pre-gain = -3.5"),
            "");
  EXPECT_EQ(get("array"), "line:4:35mm");
  EXPECT_EQ(get("angle"), "-20");
  EXPECT_EQ(get("algorithm"), "adaptive");
  EXPECT_EQ(get("keep-time"), "no");
  EXPECT_EQ(get("channels"), "1, 3,5,7");
  EXPECT_EQ(get("pre-gain"), "-3.5");
  EXPECT_EQ(VekStream_GetNumber(settings_.get(), "pre-gain"), -3.5);
}

TEST_F(OptionFile, PositionsStandInAListInLinesOrInOne) {
  EXPECT_EQ(read("mic = [\"0,0\", '0.05,0' ,\"0.1,0\"] # three\n"), "");
  EXPECT_EQ(get("mics"), "0,0; 0.05,0; 0.1,0");
  EXPECT_EQ(read("mic = 0,0\nangle = 1\nmic = \"0.2,0\"\n"), "");
  EXPECT_EQ(get("mics"), "0,0; 0.2,0");
  EXPECT_EQ(read("mics = 0,0; 0.3,0\n"), "");
  EXPECT_EQ(get("mics"), "0,0; 0.3,0");
  // A file that says nothing of the array leaves it.
  EXPECT_EQ(read("\xef\xbb\xbf"
                 "angle = 3\n"),
            "");
  EXPECT_EQ(get("mics"), "0,0; 0.3,0");
  EXPECT_EQ(get("angle"), "3");
}

TEST_F(OptionFile, ALaterLayerWinsWhateverDescribesTheArray) {
  const char* const line = "array = line:2:40mm\n";
  const char* const mics = "mic = [\"0,0\", \"0.05,0\"]\ngeometry = triangle\n";
  for (const char* layer : {line, mics}) {
    SCOPED_TRACE(layer);
    settings_.reset(VekStream_NewSettings());
    ASSERT_EQ(read(layer), "");
    EXPECT_EQ(set("array", "line:3:1cm"), "");
    EXPECT_EQ(get("array"), "line:3:1cm");
    EXPECT_EQ(get("geometry"), "linear");

    settings_.reset(VekStream_NewSettings());
    ASSERT_EQ(read(layer), "");
    EXPECT_EQ(set("mic", "0,0"), "");
    EXPECT_EQ(set("mic", "0.1,0"), "");
    EXPECT_EQ(set("mic", "0.2,0"), "");
    EXPECT_EQ(get("mics"), "0,0; 0.1,0; 0.2,0");

    settings_.reset(VekStream_NewSettings());
    EXPECT_EQ(set("mic", "0,0"), "");
    ASSERT_EQ(read(layer), "");
    EXPECT_EQ(get("array"), layer == line ? "line:2:40mm" : "nothing");
    EXPECT_EQ(get("mics"), layer == line ? "nothing" : "0,0; 0.05,0");
  }
}

TEST_F(OptionFile, FaultsNameTheLine) {
  ASSERT_EQ(set("angle", "5"), "");
  const std::string name = path_;
  expect_fault("", {name + ": ", "no setting"});
  expect_fault("# nothing\n\n", {name + ": ", "no setting"});
  expect_fault("angle = 6\ncolour = red\n", {name + ":2: ", "'colour'", "array"});
  expect_fault("angle = east\n", {name + ":1: ", "angle is", "'east'"});
  expect_fault("angle\n", {name + ":1: ", "KEY = VALUE", "'angle'"});
  expect_fault("= 5\n", {name + ":1: ", "KEY = VALUE"});
  expect_fault("\n\n[other]\nangle = 1\n", {name + ":3: ", "'[other]'"});
  expect_fault("angle = 6\nangle = 7\n", {name + ":2: ", "angle", "once", "'7'"});
  expect_fault("angle = \"6\n", {name + ":1: ", "angle", "quotes"});
  expect_fault("angle = \"6\" 7\n", {name + ":1: ", "angle", "quotes"});
  expect_fault("mic = [0,0]\n", {name + ":1: ", "mic", "list"});
  expect_fault("mic = [\"0,0\"\n", {name + ":1: ", "mic", "list"});
  expect_fault("mic = [\"0,0\"] x\n", {name + ":1: ", "mic", "list"});
  expect_fault("mic = []\n", {name + ":1: ", "mic", "list"});
  expect_fault("mic = [\n", {name + ":1: ", "mic", "list"});
  expect_fault("mic =\n", {name + ":1: ", "mic is"});
  expect_fault("angle = [\"6\"]\n", {name + ":1: ", "angle", "'[\"6\"]'"});
  expect_fault("array = line:1:1m\nangle = 6\nmic = 0,0\n",
               {name + ":3: ", "mic", "array", "exclude"});
  expect_fault("mic = 0,0\nmics = 0,0\n", {name + ":2: ", "mic", "mics", "exclude"});
  expect_fault("mics = 0,0\narray = line:1:1m\n", {name + ":2: ", "array", "mics", "exclude"});
  expect_fault("geometry = triangle\narray = line:1:1m\n",
               {name + ":2: ", "array", "geometry", "'triangle'"});
  expect_fault("array = line:1:1m\ngeometry = triangle\n",
               {name + ":2: ", "geometry", "'triangle'"});
  expect_fault(std::string("angle = 6\0007\n", 12), {name + ":1: ", "angle"});
  expect_fault(std::string(70000, 'x'), {name + ": ", "65536 bytes"});
  std::string bytes;
  for (int i = 0; i < 25600; i++) bytes += static_cast<char>(i % 256);
  expect_fault(bytes, {name + ":1: "});
  EXPECT_NE(said(VekStream_ReadFile(settings_.get(), "/nonexistent/desk.ini"))
                .find("/nonexistent/desk.ini: cannot be read: No such"),
            std::string::npos);
  EXPECT_NE(said(VekStream_ReadFile(settings_.get(), "/")).find("/: cannot be read: "),
            std::string::npos);
  EXPECT_NE(said(VekStream_ReadFile(settings_.get(), nullptr)), "");
}

TEST_F(OptionFile, AGeometryThatTheShapeHasIsNoFault) {
  EXPECT_EQ(read("geometry = triangle\narray = square:64mm\n"), "");
  EXPECT_EQ(get("geometry"), "triangle");
}

TEST_F(OptionFile, ALongPathIsShortenedAndTheFaultStaysOneLine) {
  const std::string top = own_path("folder");
  const std::string folder =
      top + "/" + std::string(200, 'd') + "/" + std::string(200, 'e') + "/" + std::string(200, 'f');
  std::filesystem::create_directories(folder);
  path_ = folder + "/options.ini";
  const std::string key(500, 'k');
  const std::string line = read(key + " = 1\n");
  EXPECT_EQ(line.substr(0, 4), "...d");
  EXPECT_NE(line.find("/options.ini:1: 'kkk"), std::string::npos) << line;
  EXPECT_EQ(line.size(), 1023u);
  std::filesystem::remove_all(top);
}

TEST_F(OptionFile, AHostMayHaveWordsOfItsOwn) {
  struct Host {
    std::string taken;
    static const char* take(void* user, const char* key, const char* value) {
      if (std::strcmp(key, "rate") != 0 && std::strcmp(key, "json") != 0)
        return "no word\nof this host";
      auto* host = static_cast<Host*>(user);
      host->taken += std::string(key) + "=" + value + ";";
      return nullptr;
    }
  } host;
  write("rate = 16000\nangle = 6\njson = \"a b\"\nrate =\njson = b\t# nothing\n");
  EXPECT_EQ(said(VekStream_ReadFileWith(settings_.get(), path_.c_str(), Host::take, &host)), "");
  EXPECT_EQ(host.taken, "rate=16000;json=a b;rate=;json=b;");
  EXPECT_EQ(get("angle"), "6");
  write("angle = 7\ncolour = red\n");
  EXPECT_EQ(said(VekStream_ReadFileWith(settings_.get(), path_.c_str(), Host::take, &host)),
            path_ + ":2: no word?of this host");
  EXPECT_EQ(get("angle"), "6");
}

TEST_F(OptionFile, ATrackThatIsNoneIsRefusedByLine) {
  const struct {
    const char* text;
    const char* words;
  } kFaults[] = {
      {"", "no line"},          {"# nothing\n", "no line"}, {"1 2\n1 3\n", "line 2"},
      {"1 2\n0 3\n", "line 2"}, {"1\n", "line 1"},          {"1 2 3\n", "line 1"},
      {"1 2.5\n", "line 1"},    {"nan 10\n", "line 1"},     {"0 99999999999\n", "line 1"},
      {"0 1\x01\n", "line 1"},  {"\n\none two\n", "line 3"}};
  for (const auto& fault : kFaults) {
    const std::string line = set("angle-track", write(fault.text));
    EXPECT_NE(line.find("angle-track '" + path_ + "'"), std::string::npos) << line;
    EXPECT_NE(line.find(fault.words), std::string::npos) << line;
    EXPECT_EQ(get("angle-track"), "nothing");
  }
  EXPECT_EQ(set("angle-track", write("0 1\n 1.5e0\t+2 # turned\r\n\n3 -4")), "");
  EXPECT_EQ(get("angle-track"), path_);
}

}  // namespace
}  // namespace vekbf::test
