add_library(secc_bench_station STATIC benchstation.cpp)
target_link_libraries(secc_bench_station PUBLIC secc_ocppcomponent secc_test_config secc_test_siblings
                                                nlohmann_json::nlohmann_json)
target_compile_definitions(secc_bench_station PRIVATE SECC_SOURCE_ROOT="${CMAKE_SOURCE_DIR}")

secc_bench(NAME station SOURCES stationbench.cpp LIBRARIES secc_bench_station)

secc_bench_program(NAME sessionmemory SOURCES sessionmemory.cpp LIBRARIES secc_bench_station)
secc_bench_program(NAME fillstore SOURCES fillstore.cpp LIBRARIES secc_icconfig)
