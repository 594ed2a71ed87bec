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
    std::string version;
};
int Serve(const ServeRequest& request);

struct UserRequest {
    enum class Do { Add, List, Remove, Password, Email, Permit, Forbid, Import } what = Do::List;
    std::string name;
    std::string address;
    std::filesystem::path passwordFile;  // "": typed
    std::filesystem::path config;        // "": none
    std::filesystem::path data;
    bool json = false;
};
int ChangeUsers(const UserRequest& request);

/// Asked of the service that runs on a data folder.
struct OperatorRequest {
    enum class Do { Status, Kick, Unkick, Close, Ban, Unban, Reload } what = Do::Status;
    std::string code;
    std::string name;  // a handle; of bans an address or a range, too
    std::string span;  // "": for good
    bool json = false;
    std::filesystem::path data;
};
int Operate(const OperatorRequest& request);

struct BackupRequest {
    std::filesystem::path file;
    std::filesystem::path data;
    bool meetings = false;         // of relays that share them, alone
    std::filesystem::path config;  // that says where; "": the data folder knows
    std::string version;
};
int TakeBackup(const BackupRequest& request);
int PutBack(const BackupRequest& request);

/// Of what relays share in NATS servers.
struct AdjustRequest {
    std::filesystem::path config;  // that says where and what; "": the data folder knows
    std::filesystem::path data;
};
int Adjust(const AdjustRequest& request);

struct DoctorRequest {
    std::filesystem::path config;  // "": none
    std::filesystem::path data;    // "": as configured
    std::filesystem::path backup;  // "": none to look at
    std::string version;
};
int Examine(const DoctorRequest& request);

}  // namespace zephyl
