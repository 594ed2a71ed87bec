#include "service/link/post_folder.h"

#include <algorithm>

namespace zephyl::link {

namespace {

/// Copies of one message share their characters, so a record of megabytes is seldom compared.
bool SameText(const QString& a, const QString& b)
{
    return a.size() == b.size() && (a.constData() == b.constData() || a == b);
}

bool SameData(const QByteArray& a, const QByteArray& b)
{
    return a.size() == b.size() && (a.constData() == b.constData() || a == b);
}

}  // namespace

bool PostFolder::Join(const Copy& copy)
{
    if (!mOpen) return false;
    const Copy& first = mOpen->first;
    if (first.road != copy.road || first.picture != copy.picture) return false;
    if (mOpen->recipients.contains(copy.to)) return false;
    if (!SameText(first.text, copy.text) || !SameData(first.data, copy.data)) return false;
    mOpen->recipients.append(copy.to);
    return true;
}

void PostFolder::Open(Copy copy, std::shared_ptr<const std::string> body, std::shared_ptr<const void> room)
{
    const QString to = copy.to;
    mOpen = Folded{std::move(copy), {to}, std::move(body), std::move(room)};
}

std::optional<Folded> PostFolder::Close()
{
    return std::exchange(mOpen, std::nullopt);
}

Audience AudienceOf(const Folded& post, const QStringList& others)
{
    Audience audience;
    const bool all = !others.isEmpty() &&
                     std::all_of(others.begin(), others.end(),
                                 [&](const QString& other) { return post.recipients.contains(other); });
    audience.everyone = all && post.first.road != Road::Send;
    if (!audience.everyone)
        for (const QString& to : post.recipients) audience.handles.push_back(to.toStdString());
    return audience;
}

}  // namespace zephyl::link
