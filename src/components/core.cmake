# The message core around the operations: framing, what of a frame may be logged (for the link too), and the store of
# transaction messages.
add_library(secc_secretmask STATIC secretmask.cpp)
target_link_libraries(secc_secretmask PUBLIC secc_base)

add_library(secc_messagehandler STATIC messagehandler.cpp)
target_link_libraries(secc_messagehandler PUBLIC secc_base secc_log PRIVATE secc_secretmask)

add_library(secc_messagestore STATIC persistentmessagestoragemanager.cpp)
target_link_libraries(secc_messagestore PUBLIC secc_base secc_log secc_operation_model PkgConfig::JSONCPP)
