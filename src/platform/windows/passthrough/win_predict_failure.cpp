// The failure prediction of the Windows class driver, which asks ATA and SCSI drives in its own
// way.
#include "platform/windows/passthrough/win_device_control.h"
#include "transport/hal/predict_failure.h"

namespace ostria::storage {

static_assert(sizeof(STORAGE_PREDICT_FAILURE) == 516);

ProtocolResult queryPredictedFailure(DeviceHandle handle, bool* failing) {
  STORAGE_PREDICT_FAILURE prediction{};
  const ControlAnswer answer = deviceControl(handle, IOCTL_STORAGE_PREDICT_FAILURE, nullptr, 0,
                                             &prediction, sizeof prediction);
  if (!answer || answer.returned < sizeof prediction.PredictFailure) {
    return ProtocolResult::TransportFailure;
  }
  *failing = prediction.PredictFailure != 0;
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
