# Readings of a connector: from the siblings that measure to the snapshot that messages are made of.
add_library(secc_metervalues STATIC metervalueshandler.cpp)
target_link_libraries(secc_metervalues PUBLIC secc_base secc_clock secc_log secc_iipc_interfaces)
