secc_fuzz_target(NAME payload SOURCES payloadfuzz.cpp LIBRARIES secc_payload_table)
