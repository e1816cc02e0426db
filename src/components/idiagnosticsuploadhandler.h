#pragma once

#include <cstdint>
#include <optional>

// Uploads diagnostics packages and logs.
class IDiagnosticsUploadHandler {
 public:
  virtual ~IDiagnosticsUploadHandler() = default;

  virtual void Init() = 0;
  virtual int32_t GetDiagUploadStatus() = 0;
  virtual int32_t GetLogUploadStatus() = 0;
  virtual std::optional<int32_t> GetLogRequestId() = 0;
};
