add_library(secc_systemaccess STATIC seccutils.cpp systemaccessinterface.cpp)
target_link_libraries(secc_systemaccess PUBLIC secc_base)

add_library(secc_ipccallbacklayer STATIC ipccallbacklayer.cpp)
target_link_libraries(secc_ipccallbacklayer PUBLIC secc_base secc_log secc_iipc_interfaces secc_systemaccess)

add_library(secc_backoffice STATIC backoffice.cpp backofficeutils.cpp)
target_link_libraries(secc_backoffice PUBLIC secc_base secc_log secc_worker secc_operation_model secc_messagehandler
                                             PkgConfig::JSONCPP)

add_library(secc_ocpp STATIC metervaluetimers.cpp ocpp.cpp ocppbackoffices.cpp statusnotificationpusher.cpp)
target_link_libraries(secc_ocpp PUBLIC secc_base secc_log secc_worker secc_operation_model secc_iipc_interfaces
                                       secc_backoffice PkgConfig::JSONCPP)

# The composition root of everything OCPP.
add_library(secc_ocppcomponent STATIC auxiliarykey.cpp ocppcomponent.cpp)
target_link_libraries(
  secc_ocppcomponent
  PUBLIC secc_base
         secc_log
         secc_worker
         secc_icconfig
         secc_toolbox
         secc_ipccallbacklayer
         secc_systemaccess
         secc_ocppconfig
         secc_diagnosticsclient
         secc_feedback
         secc_sessionclient
         secc_metervalues
         secc_messagestore
         secc_authorizationmanager
         secc_operationhandler
         secc_operationfactory
         secc_hostinfo
         secc_websocketclient
         secc_websocketppwrapper
         secc_backoffice
         secc_ocpp)
