#pragma once

#include "platform/machine.h"

/// The toolkit keeps a stack of override cursors; this keeps one value on it.
class QtScreenPointer final : public ScreenPointer {
public:
    void Set(PointerShape shape) override;
    PointerShape Get() const override { return mShape; }

private:
    PointerShape mShape = PointerShape::Default;
};
