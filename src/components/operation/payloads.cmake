# The payload records: each message's declaration with its codec, which is compiled here once.
add_library(
  secc_payloads STATIC
  ocpp_common/constraints.cpp
  ocpp16/messages/authorize.cpp
  ocpp16/messages/bootnotification.cpp
  ocpp16/messages/changeavailability.cpp
  ocpp16/messages/changeconfiguration.cpp
  ocpp16/messages/chargingprofilecommon.cpp
  ocpp16/messages/clearcache.cpp
  ocpp16/messages/clearchargingprofile.cpp
  ocpp16/messages/datatransfer.cpp
  ocpp16/messages/diagnosticsstatusnotification.cpp
  ocpp16/messages/extendedtriggermessage.cpp
  ocpp16/messages/firmwarestatusnotification.cpp
  ocpp16/messages/getconfiguration.cpp
  ocpp16/messages/getdiagnostics.cpp
  ocpp16/messages/getlocallistversion.cpp
  ocpp16/messages/getlog.cpp
  ocpp16/messages/heartbeat.cpp
  ocpp16/messages/idtaginfocommon.cpp
  ocpp16/messages/logstatusnotification.cpp
  ocpp16/messages/metervalues.cpp
  ocpp16/messages/remotestarttransaction.cpp
  ocpp16/messages/remotestoptransaction.cpp
  ocpp16/messages/reset.cpp
  ocpp16/messages/securityeventnotification.cpp
  ocpp16/messages/sendlocallist.cpp
  ocpp16/messages/setchargingprofile.cpp
  ocpp16/messages/starttransaction.cpp
  ocpp16/messages/statusnotification.cpp
  ocpp16/messages/stoptransaction.cpp
  ocpp16/messages/triggermessage.cpp
  ocpp16/messages/unlockconnector.cpp
  ocpp16/messages/updatefirmware.cpp
  ocpp201/messages/getvariables.cpp)
target_link_libraries(secc_payloads PUBLIC secc_base nlohmann_json::nlohmann_json)
# Instrumented, they take longer to compile than to run; elsewhere each source is compiled by itself.
if(SECC_SANITIZER)
  set_target_properties(secc_payloads PROPERTIES UNITY_BUILD ON)
endif()
