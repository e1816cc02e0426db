# One source per action of OCPP 1.6.
add_library(secc_actions16 STATIC ocpp16/implementation/authorizeoperation.cpp
                                  ocpp16/implementation/bootnotificationoperation.cpp
                                  ocpp16/implementation/clearcacheoperation.cpp
                                  ocpp16/implementation/getlocallistversionoperation.cpp
                                  ocpp16/implementation/heartbeatoperation.cpp
                                  ocpp16/implementation/idtagstatus.cpp
                                  ocpp16/implementation/locallistupdates.cpp
                                  ocpp16/implementation/metervaluesoperation.cpp
                                  ocpp16/implementation/samplevaluescreator.cpp
                                  ocpp16/implementation/sendlocallistoperation.cpp
                                  ocpp16/implementation/starttransactionoperation.cpp
                                  ocpp16/implementation/statusnotificationoperation.cpp
                                  ocpp16/implementation/stoptransactionoperation.cpp
                                  ocpp16/implementation/transactionoperation.cpp)
target_link_libraries(secc_actions16 PUBLIC secc_base secc_log secc_payloads secc_operation_model secc_diagnostics
                                            secc_toolbox secc_iipc_interfaces
                                            secc_ocppconfig secc_backoffice
                                            PkgConfig::JSONCPP)
