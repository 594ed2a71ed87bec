#pragma once
// Services that are not what they say: certificates made to order by an authority that the machine may be
// told to believe, old TLS, no TLS, and an ear for everything that a client says to them.

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

/// A key and its certificate as PEM files.
struct Papers {
    std::filesystem::path key, certificate;
    std::string fingerprint;
};

/// What a certificate says. The defaults are a good one for this machine.
struct Wish {
    const char* names = "DNS:localhost,IP:127.0.0.1,IP:::1";
    const char* use = "serverAuth";
    int fromDays = -1, toDays = 1;
    bool vouched = true;  // signed by the authority, else by its own key
};

class Authority {
public:
    /// Its own certificate goes into the folder, too.
    explicit Authority(std::filesystem::path folder);
    ~Authority();
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;

    /// What SSL_CERT_FILE names on a machine that believes this authority.
    std::string File() const { return (mFolder / "authority.pem").string(); }
    Papers Make(const Wish& wish = {});

private:
    struct Signer;
    std::filesystem::path mFolder;
    std::unique_ptr<Signer> mSigner;
    int mMade = 0;
};

struct Guise {
    Papers papers;
    bool oldTls = false;                    // nothing newer than 1.2
    bool plain = false;                     // no TLS: what is said is heard as it is
    const char* protocol = "\x08zephyl/1";  // what it agrees to by ALPN, its length in front; "": nothing
};

/// The first bytes that a service answers to these, said by a client who offers this by ALPN, its length in
/// front;
/// "": nothing. "" when it ends the connection first.
std::string AnswerTo(const std::string& bytes, const std::string& protocol, std::uint16_t port);

/// One connection at a time, each of them until the client ends it or has said something after the handshake.
class PretendedService {
public:
    explicit PretendedService(const Guise& guise, const char* address = "127.0.0.1");
    ~PretendedService();
    PretendedService(const PretendedService&) = delete;
    PretendedService& operator=(const PretendedService&) = delete;

    std::uint16_t Port() const { return mPort; }
    /// Ends it, after whoever has connected by now. What all of them said behind their handshakes.
    const std::string& End();
    int Connections() const { return mConnections; }
    /// True while nobody has said anything.
    bool Quiet() const { return !mSpokenTo; }

private:
    void Serve();

    const Guise mGuise;
    int mListener = -1, mStop = -1;
    std::uint16_t mPort = 0;
    std::string mHeard;
    int mConnections = 0;
    std::atomic<bool> mSpokenTo{false};
    std::thread mThread;
};
