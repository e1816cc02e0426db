#pragma once

#include <string>

namespace Rpc {

// Makes a socket path free to be bound: creates the folders that are missing, for this user and its group only (mode
// 0750), and removes a socket that a dead process left behind. Gives an empty text, or why the path cannot be used: the
// socket of a live process and a file of another kind are left alone.
std::string PrepareSocketFile(const std::string& path);

}  // namespace Rpc
