# Who may charge: the local authorization list and the authorization cache.
add_library(secc_authorizationlists STATIC authorization/authorizationcache.cpp authorization/authorizationlistentry.cpp
                                           authorization/authorizelist.cpp authorization/localauthorizationlist.cpp)
target_link_libraries(secc_authorizationlists PUBLIC secc_base secc_log secc_ipc_messages PkgConfig::JSONCPP)
