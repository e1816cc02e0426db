add_library(secc_sessionclient STATIC sessionclienthandler.cpp sessionrecord.cpp sessionstore.cpp standingword.cpp)
target_link_libraries(secc_sessionclient PUBLIC secc_base secc_log secc_operation_model secc_iipc_interfaces
                                                secc_icconfig PkgConfig::JSONCPP)
