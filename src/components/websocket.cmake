add_library(secc_hostinfo STATIC hostinfo.cpp)
target_link_libraries(secc_hostinfo PUBLIC secc_base secc_log)

add_library(
  secc_websocketclient STATIC basicauth.cpp reconnectdelay.cpp websocketclient.cpp websocketclientevents.cpp
                              websocketclosecode.cpp websockettls.cpp)
target_link_libraries(
  secc_websocketclient
  PUBLIC secc_base secc_log secc_worker secc_operation_model
  PRIVATE secc_secretmask secc_toolbox)

# The websocket library with its network layer and TLS engine: one source, which takes long to compile.
add_library(secc_websocketppwrapper STATIC websocketppwrapper.cpp)
target_compile_definitions(secc_websocketppwrapper PRIVATE ASIO_STANDALONE _WEBSOCKETPP_CPP11_STL_ ASIO_USE_WOLFSSL)
# gcc's data flow finds paths in the inlined network layer that do not exist; its headers are no concern of ours.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set_source_files_properties(websocketppwrapper.cpp PROPERTIES COMPILE_OPTIONS -Wno-null-dereference)
endif()
# <openssl/ssl.h> must be the engine's own.
target_include_directories(secc_websocketppwrapper SYSTEM BEFORE PRIVATE /usr/include/wolfssl)
# Other libraries of a program bring OpenSSL, which shares a few names with the engine. Named first it wins them.
target_link_libraries(
  secc_websocketppwrapper
  PUBLIC secc_base
         secc_clock
         -Wl,--push-state,--no-as-needed,-lssl,-lcrypto,--pop-state
         PkgConfig::WOLFSSL
         Threads::Threads)
