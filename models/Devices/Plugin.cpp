// The entry point of the plug-in Devices: classes Uart, GpTimer and IrqCtrl.

#include "Devices.h"

extern "C" ORVY_API void orvy_pluginInit(void) {
  devices::registerUart();
  devices::registerGpTimer();
  devices::registerIrqCtrl();
}
