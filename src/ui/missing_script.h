#pragma once

#include <QHash>
#include <QString>
#include <functional>

/// Says which script of a text no installed font can show. User-interface thread only.
class MissingScript {
public:
    /// `shown`: whether some font has the character.
    explicit MissingScript(std::function<bool(char32_t)> shown) : mShown(std::move(shown)) {}

    /// As people call it: "Korean", "emoji"; "" when all of the text can be shown, or as far as it was looked
    /// at: new characters are asked for 64 at a time.
    QString In(QStringView text);

private:
    bool Shown(char32_t character, int& asked);

    std::function<bool(char32_t)> mShown;
    QHash<char32_t, bool> mKnown;
};

/// Whether an installed font has it, the usual one or one that the toolkit falls back to.
bool SomeFontShows(char32_t character);
