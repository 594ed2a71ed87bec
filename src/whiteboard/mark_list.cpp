#include "whiteboard/mark_list.h"

#include <algorithm>
#include <utility>

namespace {

std::size_t BytesOf(const Mark& mark)
{
    const std::size_t picture = mark.picture ? std::size_t(mark.picture->jpeg.size()) : 0;
    return std::size_t(mark.record.size()) * sizeof(QChar) + picture;
}

}  // namespace

MarkList::Node::Node(DrawnMark what, std::shared_ptr<Node> before)
    : drawn(std::move(what)),
      parent(std::move(before)),
      count(parent ? parent->count + 1 : 1),
      bytes((parent ? parent->bytes : 0) + BytesOf(*drawn.mark))
{
}

/// One by one: thousands of nodes, each ending its parent, would be as many calls within each other.
MarkList::Node::~Node()
{
    std::shared_ptr<Node> next = std::move(parent);
    while (next && next.use_count() == 1) next = std::move(next->parent);
}

void MarkList::Add(DrawnMark drawn)
{
    mNewest.last = std::make_shared<Node>(std::move(drawn), mNewest.last);
}

void MarkList::Bound(const std::shared_ptr<const TileGrid>& now)
{
    if (!mNewest.last || (mNewest.last->count < kSpanMarks && mNewest.last->bytes < kSpanBytes)) return;
    Divide(now);
}

void MarkList::Divide(const std::shared_ptr<const TileGrid>& now)
{
    mOlder = std::exchange(mNewest, {nullptr, now});
}

std::size_t MarkList::CountOlder() const
{
    return mOlder.last ? mOlder.last->count : 0;
}

std::size_t MarkList::Count() const
{
    return CountOlder() + (mNewest.last ? mNewest.last->count : 0);
}

const DrawnMark* MarkList::Last() const
{
    const Node* last = mNewest.last ? mNewest.last.get() : mOlder.last.get();
    return last ? &last->drawn : nullptr;
}

std::vector<DrawnMark> MarkList::InOrder() const
{
    std::vector<DrawnMark> marks;
    marks.reserve(Count());
    for (const Span* span : {&mNewest, &mOlder})
        for (const Node* node = span->last.get(); node; node = node->parent.get())
            marks.push_back(node->drawn);
    std::reverse(marks.begin(), marks.end());
    return marks;
}

const std::shared_ptr<const TileGrid>& MarkList::Beneath() const
{
    return mOlder.last ? mOlder.beneath : mNewest.beneath;
}
