# Queues, operation handler and factories.
secc_unit_test(NAME operationqueuemanager SOURCES operationqueuemanagertest.cpp LIBRARIES secc_operationhandler)
