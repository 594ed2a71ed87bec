#pragma once
// The server that takes mail from here, spoken to by SMTP. Blocking: never on an io thread.

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

#include "service/relay/options.h"

namespace zephyl {

/// Throws StartError when mail could not leave like this, or not safely: something is missing, is no address,
/// or TLS is off for a server that is not on this computer. Reads no file.
void CheckMail(const MailOptions& options);

class MailServer {
public:
    /// Checks, and reads the password's file. Throws StartError.
    explicit MailServer(const MailOptions& options);

    /// What became of a letter. Perhaps: the server had all of it and did not say.
    enum class Taken { Yes, No, Perhaps };
    struct Outcome {
        Taken taken = Taken::No;
        std::string problem;  // when not Yes: for the operator
    };
    /// `letter`: as LetterBytes makes it. Ends within `limit`, or at once when `stop` is set.
    Outcome Send(const std::string& from, const std::string& to, const std::string& letter,
                 std::chrono::milliseconds limit, const std::atomic<bool>& stop) const;
    /// Connects, becomes TLS as configured, says who it is, and sends nothing. What is wrong; none: it would
    /// take mail, as far as that can be told.
    std::optional<std::string> Fault(std::chrono::milliseconds limit) const;

private:
    MailOptions mOptions;
    std::string mPassword;
};

/// MailServer::Fault, and what keeps the service from starting. None where no mail is configured.
std::optional<std::string> MailFault(const MailOptions& options,
                                     std::chrono::milliseconds limit = std::chrono::seconds(15));

}  // namespace zephyl
