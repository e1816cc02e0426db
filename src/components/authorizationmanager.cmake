# Who decides on a driver, over the stores of id tags.
add_library(secc_authorizationmanager STATIC authorizationmanager.cpp authorizationsource.cpp)
target_link_libraries(
  secc_authorizationmanager
  PUBLIC secc_base secc_log secc_iipc_interfaces PkgConfig::JSONCPP
  PRIVATE secc_authorizationlists secc_operation_model secc_worker)
