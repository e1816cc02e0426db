#pragma once

// For std::set_terminate: says in the log what ends the process, at critical level, and aborts. An exception that
// nobody caught is named by its type and message; one that is no std::exception has neither.
[[noreturn]] void HandleTermination();
