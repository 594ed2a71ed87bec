#pragma once
// What `zephyld` can be asked to do. Each returns the program's exit code; errors go to standard error.

#include <filesystem>
#include <optional>
#include <string>

namespace zephyl {

struct ServeRequest {
    std::filesystem::path config;  // "": none
    std::string listen;            // "": as configured
    std::filesystem::path data;    // "": as configured
    bool personal = false;
};
int Serve(const ServeRequest& request);

struct UserRequest {
    enum class Do { Add, List, Remove, Password, Permit, Forbid } what = Do::List;
    std::string name;
    std::string address;
    std::filesystem::path passwordFile;  // "": typed
    std::filesystem::path data;
};
int ChangeUsers(const UserRequest& request);

struct KickRequest {
    std::string code, name;
    std::filesystem::path data;
};
int Kick(const KickRequest& request);

}  // namespace zephyl
