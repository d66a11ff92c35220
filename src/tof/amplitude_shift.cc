#include "tof/amplitude_shift.h"

#include "common/diag.h"

namespace pxkit {

void report_amplitude_shift(const AmplitudeShiftChoice& shift) {
  switch (shift.direction) {
    case AmplitudeShift::kLeft: diag::format("\t\tleft shift %d\n", static_cast<int>(shift.amount)); break;
    case AmplitudeShift::kRight: diag::format("\t\tright shift %d\n", static_cast<int>(shift.amount)); break;
    case AmplitudeShift::kNone: diag::line("\t\tno shift"); break;
  }
}

}  // namespace pxkit
