# What moves operations: queues, the traffic controller of a backoffice, and the factories over their tables.
add_library(secc_operation_core STATIC ocpp_common/messageid.cpp ocpp_common/payloadfault.cpp)
target_link_libraries(
  secc_operation_core
  PUBLIC secc_base
  PRIVATE secc_payloads nlohmann_json::nlohmann_json PkgConfig::UUID)

add_library(secc_operationhandler STATIC ocpp_common/operationhandler.cpp ocpp_common/operationhandlerframes.cpp
                                         ocpp_common/operationqueuemanager.cpp)
target_link_libraries(
  secc_operationhandler
  PUBLIC secc_base secc_log secc_worker secc_operation_model
  PRIVATE secc_operation_core secc_secretmask)

add_library(
  secc_operationfactory STATIC ocpp16/operationfactory.cpp ocpp16/operationfilters.cpp ocpp16/operationtable.cpp
                               ocpp201/operationfactory201.cpp ocpp_common/tablefactory.cpp)
target_link_libraries(
  secc_operationfactory
  PUBLIC secc_base secc_log secc_operation_model
  PRIVATE secc_operation_core secc_actions16)
