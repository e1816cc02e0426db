secc_bench(
  NAME messagecore
  SOURCES messagecorebench.cpp
  LIBRARIES secc_messagehandler secc_messagestore secc_operationhandler secc_icconfig nlohmann_json::nlohmann_json)
