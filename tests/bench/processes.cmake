# These bring their own main: tests/bench/processes.js starts them beside the process.
secc_bench_program(NAME tlsecho SOURCES tlsecho.cpp LIBRARIES secc_websocketppwrapper)
secc_bench_program(NAME syslogsink SOURCES syslogsink.cpp)
