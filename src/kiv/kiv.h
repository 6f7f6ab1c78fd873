/// Includes every public header; meant for small programs, larger ones include what they use. <kiv/diag.h> brings
/// log4cplus's headers with it.
#ifndef KIV_KIV_H
#define KIV_KIV_H

#include <kiv/AlarmTimer.h>
#include <kiv/AnalogInput.h>
#include <kiv/Base32.h>
#include <kiv/Callback.h>
#include <kiv/CrashReport.h>
#include <kiv/Deadline.h>
#include <kiv/EnumHelpers.h>
#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>
#include <kiv/EventQueue.h>
#include <kiv/FileEdit.h>
#include <kiv/FileStorage.h>
#include <kiv/GpioChips.h>
#include <kiv/GpioLine.h>
#include <kiv/GpioRequest.h>
#include <kiv/HourMeter.h>
#include <kiv/IniFile.h>
#include <kiv/Inspection.h>
#include <kiv/KivDateTime.h>
#include <kiv/LinuxPWMChip.h>
#include <kiv/Macho.h>
#include <kiv/MachoMirror.h>
#include <kiv/Mutex.h>
#include <kiv/PimplOwner.h>
#include <kiv/PollingTimer.h>
#include <kiv/PwmOutput.h>
#include <kiv/ServiceNotify.h>
#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/StateMachineDiagram.h>
#include <kiv/StateMachineTrace.h>
#include <kiv/StateMachineValidation.h>
#include <kiv/Thread.h>
#include <kiv/TimedCondition.h>
#include <kiv/TinySimpleFSM.h>
#include <kiv/Transition.h>
#include <kiv/basetypes.h>
#include <kiv/crc.h>
#include <kiv/diag.h>
#include <kiv/err_codes.h>
#include <kiv/errno_translation.h>
#include <kiv/linux_adc.h>
#include <kiv/linux_gpio.h>
#include <kiv/linux_pwm.h>
#include <kiv/sigslot.h>
#include <kiv/string_utility.h>
#include <kiv/sysfs_tools.h>
#include <kiv/tinyutf8.h>
#include <kiv/util.h>
#include <kiv/whereami.h>
#include <kiv/whereami_cpp.h>

#endif
