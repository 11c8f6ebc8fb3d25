// SPDX-License-Identifier: MIT
//
// Any sequence of calls with any records, on up to three instances. Calls with a defined result
// give the plain model's; the others refuse. What was configured is released before its buffer
// goes or is used again.
#include <array>
#include <cstring>
#include <memory>

#include "fuzz/twin.h"
#include "reference/model.h"

namespace {

using namespace vekbf::fuzz;

constexpr int kMaxCalls = 60;

void call_without_pointers(Input& input, Twin* twin) {
  VekBfInit init{};
  VekBfConfig config{0.5f, 5};
  uint32_t samples = 7;
  std::array<int16_t, 4 * 128> in{};
  std::array<int16_t, 128> out{};
  in[0] = 1;
  const VekBfHandle handle = twin != nullptr ? twin->library() : nullptr;
  const auto refused = [](uint32_t code, const char* name) {
    expect(code == VEK_BF_ERR_NULL_HANDLE, "not refused", name);
  };
  uint8_t buffer[1];
  switch (input.below(10)) {
    case 0:
      expect(VekBf_Init(nullptr, &init) == nullptr, "not refused", "init");
      expect(VekBf_Init(buffer, nullptr) == nullptr, "not refused", "init");
      break;
    case 1:
      refused(VekBf_SetConfig(nullptr, &config), "set_config");
      break;
    case 2:
      refused(VekBf_SetConfig(handle, nullptr), "set_config");
      break;
    case 3:
      expect(VekBf_GetConfig(nullptr) == VEK_BF_OK, "refused", "get_config");
      break;
    case 4:
      refused(VekBf_GetInputSamples(nullptr, &samples), "get_input_samples");
      expect(samples == 7, "a refused call wrote", "get_input_samples");
      break;
    case 5:
      refused(VekBf_GetInputSamples(handle, nullptr), "get_input_samples");
      break;
    case 6:
      refused(VekBf_Run(nullptr, in.data(), out.data(), 5), "run");
      break;
    case 7:
      refused(VekBf_Run(handle, nullptr, out.data(), 5), "run");
      break;
    case 8:
      refused(VekBf_Run(handle, in.data(), nullptr, 5), "run");
      break;
    default:
      refused(VekBf_Free(nullptr), "free");
  }
}

void call(Input& input, std::unique_ptr<Twin>& twin) {
  const uint8_t what = input.byte();
  const bool wild = (what & 0x80) != 0;
  switch (what & 0x0f) {
    case 0:
      twin.reset();  // frees first
      twin = std::make_unique<Twin>(read_init(input, wild));
      break;
    case 1:
      if (twin == nullptr) {
        twin = std::make_unique<Twin>(read_init(input, wild));
      } else {
        twin->begin_again(read_init(input, wild));
      }
      break;
    case 2:
      twin.reset();
      break;
    case 3:
      call_without_pointers(input, twin.get());
      break;
    case 4:
      expect(VekBf_GetBufferSize() == vekbf::kWorkBufferSize, "another size", "get_buffer_size");
      expect(VekBf_GetLibVersion() > 0, "nothing printed", "get_lib_version");
      break;
    default:
      if (twin == nullptr) break;
      switch (what & 0x0f) {
        case 5:
        case 6:
        case 7:
          twin->configure(read_config(input, wild));
          break;
        case 8:
          expect(VekBf_GetConfig(twin->library()) == VEK_BF_OK, "refused", "get_config");
          break;
        case 9: {
          uint32_t samples = 1;
          uint32_t expected = 2;
          expect(VekBf_GetInputSamples(twin->library(), &samples) == VEK_BF_OK, "refused",
                 "get_input_samples");
          reference::get_input_samples(twin->model(), &expected);
          expect(samples == expected, "another number", "get_input_samples");
          break;
        }
        case 10:
          twin->release();  // the handle goes on as an unconfigured instance without microphones
          break;
        default:
          const int32_t angle = input.number();
          twin->run(read_block(input, twin->values()), angle);
      }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  tally("sequences");
  std::array<std::unique_ptr<Twin>, 3> twins;
  for (int i = 0; i < kMaxCalls && !input.empty(); ++i) {
    call(input, twins[input.below(3)]);
    tally("calls");
    for (const auto& twin : twins) {
      if (twin != nullptr) twin->compare("a call");
    }
  }
  return 0;
}
