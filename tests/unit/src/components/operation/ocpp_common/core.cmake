# Queues, operation handler and factories.
secc_unit_test(NAME operationqueuemanager SOURCES operationqueuemanagertest.cpp LIBRARIES secc_operationhandler)
secc_unit_test(
  NAME operationhandler
  SOURCES operationhandleranswertest.cpp operationhandlerincalltest.cpp operationhandlersendtest.cpp
          operationhandlerthreadtest.cpp operationhandlertransactiontest.cpp
  LIBRARIES secc_operationhandler secc_payloads)
secc_unit_test(NAME payloadfault SOURCES payloadfaulttest.cpp LIBRARIES secc_operation_core secc_payloads)
secc_unit_test(NAME operationfactory SOURCES operationfactorytest.cpp LIBRARIES secc_operationfactory secc_payloads secc_backoffice)
secc_unit_test(
  NAME messagecore
  SOURCES messagecoretest.cpp messagedurabilitytest.cpp
  LIBRARIES secc_messagehandler secc_messagestore secc_operationhandler secc_operationfactory secc_payloads
            secc_test_config secc_backoffice)
