secc_fuzz_target(NAME frame SOURCES framefuzz.cpp LIBRARIES secc_messagehandler)
