// For builds with the thread sanitizer only. The distribution's gRPC is not instrumented: the sanitizer sees its
// threads touch memory, but not how they take turns. What has a frame of gRPC in it is therefore left out; our own
// code, and the libraries that we compile, are not. Neither is the C library: its resolver guards what two lookups
// share with a lock that the sanitizer does not see.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions()
{
  return "race:libgrpc.so\n"
         "race:libgrpc++.so\n"
         "race:libgpr.so\n"
         "race:libabsl\n"
         "race:^grpc::\n"
         "race:^asio::detail::socket_ops::getaddrinfo\n"
         "mutex:libgrpc.so\n"
         "deadlock:libgrpc.so\n"
         "called_from_lib:libgrpc.so\n"
         "called_from_lib:libgrpc++.so\n"
         "called_from_lib:libgpr.so\n";
}
