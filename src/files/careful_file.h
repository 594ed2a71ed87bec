#pragma once
// Files at paths where somebody else may have put something: opened without waiting, checked by descriptor,
// locked within a bound. Any thread.

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace files {

/// Names the file and says what is wrong with it. `error`: of the system; 0: the file is not what it must be.
struct FileProblem : std::runtime_error {
    FileProblem(const std::string& text, int number) : std::runtime_error(text), error(number) {}
    int error;
};

class Descriptor {
public:
    explicit Descriptor(int number = -1) : mNumber(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : mNumber(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    int Number() const { return mNumber; }
    int Release();

private:
    int mNumber;
};

/// What a failed call means for people. Of a full disk also what to do.
std::string Why(int error);

/// Whose a file must be. Us: this user's or the system's. Private: and nobody else may read it.
enum class Owner { Anybody, Us, Private };

/// Opens a regular file, never waiting for whatever else stands there. `flags` as for open(2); what is made
/// has mode 0600. Throws FileProblem.
Descriptor OpenRegular(const std::string& path, int flags, Owner owner);

/// The content of an open file. Throws FileProblem when it holds more than `limit` bytes.
std::string ReadWhole(const Descriptor& file, std::size_t limit, const std::string& path);
/// Throws FileProblem when not all of it could be written.
void WriteWhole(const Descriptor& file, const std::string& bytes, const std::string& path);

/// What somebody names on a command line: a file, /dev/null, or a pipe (a shell's "<(...)") for as long as
/// its writer takes, at most `patience`. Throws FileProblem.
std::string ReadNamed(const std::string& path, std::size_t limit, Owner owner,
                      std::chrono::milliseconds patience = std::chrono::seconds(10));

/// Takes the lock of a file, making it when there is none; it is held as long as the descriptor lives. Throws
/// FileProblem (EWOULDBLOCK, and who holds it) when it is not free within `patience`.
Descriptor LockFile(const std::string& path, std::chrono::milliseconds patience);

}  // namespace files
