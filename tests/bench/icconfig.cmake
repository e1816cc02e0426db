secc_bench(NAME icconfig SOURCES icconfigbench.cpp LIBRARIES secc_icconfig)
