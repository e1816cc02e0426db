add_library(secc_hostinfo STATIC hostinfo.cpp)
target_link_libraries(secc_hostinfo PUBLIC secc_base secc_log)
