#pragma once
// Takes pictures of what a desk shows.

#include "demo/stage.h"

namespace stage {

class Photographer {
public:
    /// `keysReturn`: the desktop gives them to the window behind a dialog that has closed.
    Photographer(Desk& desk, QString folder, bool keysReturn = true)
        : mDesk(desk), mFolder(std::move(folder)), mKeysReturn(keysReturn)
    {
    }
    /// When two looks after each other are the same: popups and fading are not traced. A camera's picture
    /// never stands still; then the last look counts.
    void Take(const QString& name);
    /// Leaves a dialog by that key.
    void Leave(const char* dialog, const char* key = "Escape");
    /// A dialog that is about to come.
    void TakeDialog(const char* name, const char* dialog, const char* leave = "Escape");
    /// Opened by these keys, left by Escape.
    void TakeMenu(const char* name, const QString& keys);
    /// The menu of a tool's arrow.
    void TakeToolMenu(const char* name, const QString& button);

private:
    Desk& mDesk;
    const QString mFolder;
    const bool mKeysReturn;
};

}  // namespace stage
