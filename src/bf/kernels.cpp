// SPDX-License-Identifier: MIT
#include "base/kernels.h"

#include "base/target.h"
#include "bf/add_halved.h"
#include "bf/delay_and_sum.h"
#include "bf/fixed_beam.h"
#include "bf/sidelobe_canceller.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

const BeamKernels kBeamKernels = {
    .form_fixed_beam = vekbf::form_fixed_beam,
    .delay_and_sum = vekbf::delay_and_sum,
    .cancel_sidelobes = vekbf::cancel_sidelobes,
    .add_halved = vekbf::add_halved,
};

}  // namespace VEKBF_TARGET
}  // namespace vekbf
