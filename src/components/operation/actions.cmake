# One source per action of OCPP 1.6.
add_library(secc_actions16 STATIC ocpp16/implementation/bootnotificationoperation.cpp
                                  ocpp16/implementation/heartbeatoperation.cpp)
target_link_libraries(secc_actions16 PUBLIC secc_base secc_log secc_payloads secc_operation_model secc_diagnostics
                                            PkgConfig::JSONCPP)
