#pragma once
// The toolkit's own style draws the frames of empty boxes and fields darker than the window: on dark desktops
// nobody sees where they are. There they get a lighter one; elsewhere nothing changes.

#include <QProxyStyle>

class SeenFrames final : public QProxyStyle {
public:
    /// The program's style becomes one, where it is the toolkit's own; others know their desktop.
    static void PutOn();

    SeenFrames();
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
};
