# Authorize: the question about an id tag, and what follows from the answer.
secc_unit_test(
  NAME authorizeoperation
  SOURCES authorizetest.cpp
  LIBRARIES secc_actions16 secc_operationfactory secc_payload_table secc_sessionclient secc_metervalues secc_backoffice
            secc_systemaccess secc_test_config secc_test_siblings)
