#pragma once

#include "src/components/operation/ocpp_common/record.h"

// FirmwareStatusNotification (OCPP 1.6 section 4.5), sent by the station: progress of a firmware update.
namespace Ocpp16::FirmwareStatusNotification {

#define VALUES(VALUE)                                 \
  VALUE(0, EDownloadFailed, "DownloadFailed")         \
  VALUE(1, EDownloaded, "Downloaded")                 \
  VALUE(2, EDownloading, "Downloading")               \
  VALUE(3, EIdle, "Idle")                             \
  VALUE(4, EInstallationFailed, "InstallationFailed") \
  VALUE(5, EInstalled, "Installed")                   \
  VALUE(6, EInstalling, "Installing")
OCPP_ENUMERATION(EFirmwareStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EFirmwareStatus, status)
OCPP_RECORD(firmwareStatusNotificationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(firmwareStatusNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::FirmwareStatusNotification
