#pragma once

// Every message and enumeration of the IPC contract, as ipc::M... and ipc::E...; see platform/iipc/proto and
// docs/ipc.md.
#include <basiccharge2.pb.h>
#include <boardcontrol.pb.h>
#include <common.pb.h>
#include <currentcontrol.pb.h>
#include <diagnostics.pb.h>
#include <feedback.pb.h>
#include <genericcontrol.pb.h>
#include <logconfig.pb.h>
#include <meter.pb.h>
#include <safetymcucomm.pb.h>
#include <sessionmanager.pb.h>
#include <sessionmanagerauth.pb.h>
#include <signals.pb.h>

// Enumerations have a generated text function, as ipc::EConnectorState_Name(state).
namespace ipc {
using namespace ::secc::ipc::v1;  // NOLINT(google-build-using-namespace): the version is chosen here, once
}  // namespace ipc
