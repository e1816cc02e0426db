# This process's ends of the diagnostics and the feedback process.
add_library(secc_diagnosticsclient STATIC activesignals.cpp diagnosticsclienthandler.cpp)
target_link_libraries(
  secc_diagnosticsclient
  PUBLIC secc_base secc_clock secc_log secc_diagnostics secc_iipc_interfaces
  PRIVATE secc_operation_model PkgConfig::JSONCPP)

add_library(secc_feedback STATIC feedbackclienthandler.cpp)
target_link_libraries(secc_feedback PUBLIC secc_base secc_log secc_iipc_interfaces)
