#pragma once

// The fixed OCPP 2.0.1 device model.
class IDeviceModel {
 public:
  virtual ~IDeviceModel() = default;
};
