#pragma once
// Who guesses passwords, from many addresses at once. One thread has them all, so that the machine is the
// service's and not theirs.

#include <chrono>
#include <functional>
#include <string>

#include "reliability/site.h"

namespace reliability {

/// The loopback address that the stranger with this number comes from.
std::string Address(int number);

/// What came of the guesses, each counted once.
struct Guesses {
    int accepted = 0, hashed = 0, later = 0;
    int unanswered = 0;  // the connection was closed or refused
};

/// `addresses` guessers of `tries` guesses each, all at once, at `account`, or if that is "" at the accounts
/// "c0" to "c7" and at others that there are not. Every other one guesses on without a pause; the rest wait
/// as long as they are told to, but never longer than `patience`. Returns when all have ended. `word`: what
/// the guesser with this number guesses then.
using GuessedWord = std::function<std::string(int guesser, int guess)>;
Guesses GuessPasswords(
    const Site& site, const std::string& account, int addresses, int tries,
    std::chrono::milliseconds patience,
    const GuessedWord& word = [](int, int guess) { return "guess " + std::to_string(guess); });

}  // namespace reliability
