# What a backoffice does to the stores of id tags: SendLocalList, GetLocalListVersion, ClearCache.
secc_unit_test(
  NAME locallistoperations
  SOURCES clearcachetest.cpp getlocallistversiontest.cpp sendlocallisthostiletest.cpp sendlocallistordertest.cpp
          sendlocallisttest.cpp
  LIBRARIES secc_actions16 secc_operationfactory secc_payload_table secc_authorizationlists secc_backoffice
            secc_systemaccess secc_test_config)
