#pragma once
// The outer layer of a chat message: its marker and the ciphertext behind it. Pure.

#include <QString>

/// The keys that a marker in front of a message asks for, as the session holds them.
struct MessageKeys {
    QString local;
    QString server;
};

/// The marker and the ciphertext of `message`.
QString Enciphered(const QString& message, const MessageKeys& keys, bool useLocalKey);
/// `message` without its outer layer of encryption; unchanged when it has none. Garbage behind a marker gives
/// whatever text comes out.
QString Deciphered(const QString& message, const MessageKeys& keys);
