#pragma once

// All of OCPP in this process, as the lifecycle sees it.
class IOcppComponent {
 public:
  virtual ~IOcppComponent() = default;

  // Both run on the main thread; each may be called in any state.
  virtual void Enable() = 0;
  virtual void Disable() = 0;
};
