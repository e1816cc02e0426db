# Configuration keys: what the metadata says of them, and the road to their values.
add_library(secc_ocppconfig STATIC configmetadata.cpp ocppconfigextension.cpp ocppconfigmanager.cpp phaseconfig.cpp)
target_link_libraries(secc_ocppconfig PUBLIC secc_base secc_log PkgConfig::JSONCPP)
