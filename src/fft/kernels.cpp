// SPDX-License-Identifier: MIT
#include "base/kernels.h"

#include "base/target.h"
#include "fft/windowed_transform.h"
#include "math/phasor_row.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

const DspKernels kDspKernels = {
    .windowed_forward = fft::windowed_forward,
    .windowed_inverse = fft::windowed_inverse,
    .add_to = fft::add_to,
    .fill_phasor_rows = vekbf::fill_phasor_rows,
};

}  // namespace VEKBF_TARGET
}  // namespace vekbf
