#include "ui/preferences/value_control.h"

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QRegularExpressionValidator>
#include <QSignalBlocker>
#include <QToolButton>

#include "settings/preference_values.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "whiteboard/board.h"
#include "whiteboard/toolbar_boxes.h"
#include "whiteboard/whiteboard_tools.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kDocumentsFolder = 5;
constexpr int kSwatch = 16;      // pixels
constexpr int kWidestList = 44;  // characters
constexpr int kNarrowestList = 12;

QString Tr(const char* text)
{
    return PreferenceText(text);
}

/// The wheel scrolls the page; it turns only what has the focus.
class WheelGuard final : public QObject {
public:
    explicit WheelGuard(QWidget* guarded) : QObject(guarded)
    {
        guarded->setFocusPolicy(Qt::StrongFocus);
        guarded->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Wheel || static_cast<QWidget*>(watched)->hasFocus()) return false;
        event->ignore();
        return true;
    }
};

QHBoxLayout* Side(QWidget* widget)
{
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    return layout;
}

class FlagControl final : public ValueControl {
public:
    FlagControl(const PreferenceRow& row, QWidget* parent)
        : ValueControl(parent), mRow(row), mBox(new QCheckBox(PreferenceText(row.label), this))
    {
        Side(this)->addWidget(mBox, 1);
        connect(mBox, &QCheckBox::toggled, this, [this](bool on) { onChange(FlagText(mRow, on)); });
    }
    void Show(const QString& text) override
    {
        const QSignalBlocker quiet(mBox);
        mBox->setChecked(FlagOn(mRow, text));
    }
    QWidget* Field() override { return mBox; }

private:
    const PreferenceRow& mRow;
    QCheckBox* mBox;
};

/// Shows no more digits than the number has.
class NumberBox final : public QDoubleSpinBox {
public:
    using QDoubleSpinBox::QDoubleSpinBox;
    QString textFromValue(double value) const override
    {
        QLocale plain = locale();
        plain.setNumberOptions(QLocale::OmitGroupSeparator);
        return plain.toString(value, 'f', QLocale::FloatingPointShortest);
    }
};

class NumberControl final : public ValueControl {
public:
    NumberControl(const PreferenceRow& row, QWidget* parent)
        : ValueControl(parent), mRow(row), mBox(new NumberBox(this))
    {
        mBox->setDecimals(row.number.decimals);
        mBox->setRange(row.number.lowest, row.number.highest);
        if (*row.number.unit) mBox->setSuffix(Tr(row.number.unit));
        mBox->setStepType(row.number.highest > 100000 ? QAbstractSpinBox::AdaptiveDecimalStepType
                                                      : QAbstractSpinBox::DefaultStepType);
        if (row.number.atLowest) mBox->setSpecialValueText(Tr(row.number.atLowest));
        new WheelGuard(mBox);
        QHBoxLayout* side = Side(this);
        side->addWidget(mBox);
        side->addStretch(1);
        connect(mBox, &QDoubleSpinBox::valueChanged, this,
                [this](double number) { onChange(NumberText(mRow, number)); });
    }
    void Show(const QString& text) override
    {
        const QSignalBlocker quiet(mBox);
        mBox->setValue(text.toDouble());
    }
    QWidget* Field() override { return mBox; }

private:
    const PreferenceRow& mRow;
    QDoubleSpinBox* mBox;
};

/// A list whose entries stand for texts.
class ListControl final : public ValueControl {
public:
    using Fill = std::function<void(QComboBox&)>;  // entries, with their texts as data
    ListControl(Fill fill, QWidget* parent)
        : ValueControl(parent), mFill(std::move(fill)), mBox(new QComboBox(this))
    {
        mBox->setIconSize({kSwatch, kSwatch});
        mBox->setMinimumWidth(fontMetrics().averageCharWidth() * kNarrowestList);
        mBox->setMaximumWidth(fontMetrics().averageCharWidth() * kWidestList);
        mFill(*mBox);
        new WheelGuard(mBox);
        QHBoxLayout* side = Side(this);
        side->addWidget(mBox);
        side->addStretch(1);
        connect(mBox, &QComboBox::activated, this, [this] { onChange(mBox->currentData().toString()); });
    }
    void Show(const QString& text) override
    {
        mBox->clear();
        mFill(*mBox);
        int at = mBox->findData(text, Qt::UserRole, Qt::MatchFixedString);
        if (at < 0) {
            at = mBox->count();
            mBox->addItem(Tr(QT_TRANSLATE_NOOP("Preferences", "%1 (missing)")).arg(OneLine(text)), text);
        }
        mBox->setCurrentIndex(at);
    }
    QWidget* Field() override { return mBox; }

private:
    Fill mFill;
    QComboBox* mBox;
};

void FillChoices(QComboBox& box, const PreferenceRow& row)
{
    for (const RowChoice& choice : row.choices)
        if (choice.label) box.addItem(Tr(choice.label), QLatin1String(choice.value));
}

QPixmap Swatch(const std::function<void(QPainter&)>& paint)
{
    QPixmap picture(kSwatch, kSwatch);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    paint(painter);
    painter.setPen(Qt::gray);
    painter.drawRect(0, 0, kSwatch - 1, kSwatch - 1);
    return picture;
}

void FillColours(QComboBox& box)
{
    for (int index = 0; index < int(kPalette.size()); ++index) {
        const QColor colour = ToRgb(kPalette[std::size_t(index)]);
        const QPixmap swatch =
            Swatch([&](QPainter& painter) { painter.fillRect(0, 0, kSwatch, kSwatch, colour); });
        box.addItem(swatch, ColourName(index), QString::number(index));
    }
}

void FillWidths(QComboBox& box)
{
    for (int index = 0; index < int(kLineWidths.size()); ++index) {
        const int width = kLineWidths[std::size_t(index)];
        const QPixmap swatch = Swatch([&](QPainter& painter) {
            painter.fillRect(0, (kSwatch - width) / 2, kSwatch, width, Qt::black);
        });
        const QString name = width == 1 ? Tr(QT_TRANSLATE_NOOP("Preferences", "1 pixel"))
                                        : Tr(QT_TRANSLATE_NOOP("Preferences", "%1 pixels")).arg(width);
        box.addItem(swatch, name, QString::number(index));
    }
}

/// A font that is not installed may be named, too.
class FontControl final : public ValueControl {
public:
    explicit FontControl(QWidget* parent) : ValueControl(parent), mBox(new QComboBox(this))
    {
        mBox->setEditable(true);
        mBox->setInsertPolicy(QComboBox::NoInsert);
        mBox->addItems(QFontDatabase::families());
        mBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        mBox->setMinimumContentsLength(24);
        mBox->setMinimumWidth(fontMetrics().averageCharWidth() * kNarrowestList);
        new WheelGuard(mBox);
        QHBoxLayout* side = Side(this);
        side->addWidget(mBox);
        side->addStretch(1);
        connect(mBox, &QComboBox::currentTextChanged, this, [this](const QString& text) { onChange(text); });
    }
    void Show(const QString& text) override
    {
        const QSignalBlocker quiet(mBox);
        mBox->setCurrentIndex(mBox->findText(text));
        mBox->setEditText(text);
    }
    QWidget* Field() override { return mBox; }

private:
    QComboBox* mBox;
};

QToolButton* SideButton(const QString& text, const QString& name, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setAccessibleName(name);
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

class SecretControl final : public ValueControl {
public:
    SecretControl(const PreferenceRow& row, QWidget* parent)
        : ValueControl(parent), mRow(row), mEdit(new QLineEdit(this))
    {
        static const QRegularExpression kLettersAndDigits(u"[A-Za-z0-9]*"_s);
        mEdit->setEchoMode(QLineEdit::Password);
        mEdit->setMaxLength(row.longest);
        mEdit->setPlaceholderText(Tr(QT_TRANSLATE_NOOP("Preferences", "built in")));
        mEdit->setValidator(new QRegularExpressionValidator(kLettersAndDigits, mEdit));
        QToolButton* show =
            SideButton(Tr(QT_TRANSLATE_NOOP("Preferences", "Show")),
                       Tr(QT_TRANSLATE_NOOP("Preferences", "Show \"%1\"")).arg(PlainLabel(row)), this);
        show->setCheckable(true);
        QHBoxLayout* side = Side(this);
        side->addWidget(mEdit, 1);
        side->addWidget(show);
        connect(mEdit, &QLineEdit::textEdited, this, [this](const QString& text) { onChange(text); });
        connect(show, &QToolButton::toggled, this,
                [this](bool on) { mEdit->setEchoMode(on ? QLineEdit::Normal : QLineEdit::Password); });
    }
    void Show(const QString& text) override { mEdit->setText(text == DefaultOf(mRow) ? QString() : text); }
    QWidget* Field() override { return mEdit; }

private:
    const PreferenceRow& mRow;
    QLineEdit* mEdit;
};

class TextControl final : public ValueControl {
public:
    TextControl(const PreferenceRow& row, QWidget* parent) : ValueControl(parent), mEdit(new QLineEdit(this))
    {
        mEdit->setMaxLength(row.longest);
        Side(this)->addWidget(mEdit, 1);
        connect(mEdit, &QLineEdit::textEdited, this, [this](const QString& text) { onChange(text); });
    }
    void Show(const QString& text) override { mEdit->setText(text); }
    QWidget* Field() override { return mEdit; }

private:
    QLineEdit* mEdit;
};

/// A path that is typed or looked for.
class PathControl final : public ValueControl {
public:
    /// `browse`: "" when the user gave up.
    PathControl(const QString& label, std::function<QString(const QString& now)> browse, QWidget* parent)
        : ValueControl(parent), mEdit(new QLineEdit(this))
    {
        mBrowse = SideButton(Tr(QT_TRANSLATE_NOOP("Preferences", "Browse...")),
                             Tr(QT_TRANSLATE_NOOP("Preferences", "Browse for \"%1\"")).arg(label), this);
        QHBoxLayout* side = Side(this);
        side->addWidget(mEdit, 1);
        side->addWidget(mBrowse);
        connect(mEdit, &QLineEdit::textEdited, this, [this](const QString& text) { onChange(text); });
        connect(mBrowse, &QToolButton::clicked, this, [this, browse = std::move(browse)] {
            const QString found = browse(mEdit->text());
            if (found.isEmpty()) return;
            mEdit->setText(found);
            onChange(found);
        });
    }
    void Show(const QString& text) override { mEdit->setText(text); }
    QLineEdit* Field() override { return mEdit; }
    QString Text() const { return mEdit->text(); }

private:
    QLineEdit* mEdit;
    QToolButton* mBrowse;
};

class DeviceControl final : public ValueControl {
public:
    DeviceControl(const PreferenceRow& row, ProcessState& state, QWidget* parent)
        : ValueControl(parent), mBox(new QComboBox(this))
    {
        const auto browse = [&state](const QString&) {
            return state.ports.prompts->OpenFile(Tr(QT_TRANSLATE_NOOP("Preferences", "Video from a File")),
                                                 Tr(QT_TRANSLATE_NOOP("Preferences", "Videos")),
                                                 {u"*.y4m"_s, u"*.mjpeg"_s, u"*.mjpg"_s});
        };
        mFile = new PathControl(PlainLabel(row), browse, this);
        mFile->Field()->setAccessibleName(
            Tr(QT_TRANSLATE_NOOP("Preferences", "File that the video comes from")));
        mFile->Field()->setObjectName(u"set_VideoFile"_s);
        mBox->addItems({Tr(QT_TRANSLATE_NOOP("Preferences", "A camera")),
                        Tr(QT_TRANSLATE_NOOP("Preferences", "A test picture")),
                        Tr(QT_TRANSLATE_NOOP("Preferences", "A file"))});
        new WheelGuard(mBox);
        QHBoxLayout* side = Side(this);
        side->addWidget(mBox);
        side->addWidget(mFile, 1);
        connect(mBox, &QComboBox::activated, this, [this] { Chosen(); });
        mFile->onChange = [this](const QString&) { Chosen(); };
    }
    void Show(const QString& text) override
    {
        const bool file = text.startsWith(kFile);
        mFile->Show(file ? text.sliced(kFile.size()) : QString());
        mBox->setCurrentIndex(file ? 2 : text == u"pattern"_s ? 1 : text.isEmpty() ? 0 : -1);
        mFile->setEnabled(file);
    }
    QWidget* Field() override { return mBox; }

private:
    void Chosen()
    {
        mFile->setEnabled(mBox->currentIndex() == 2);
        const QString texts[] = {QString(), u"pattern"_s, kFile + mFile->Text()};
        onChange(texts[std::max(0, mBox->currentIndex())]);
    }

    static constexpr QLatin1String kFile{"file:"};
    QComboBox* mBox;
    PathControl* mFile;
};

ValueControl* MakeFolder(const PreferenceRow& row, ProcessState& state, QWidget* parent)
{
    auto* control = new PathControl(
        PlainLabel(row),
        [&state, title = PlainLabel(row)](const QString& now) {
            return state.ports.prompts->ChooseFolder(title, now);
        },
        parent);
    const QString documents = GetSpecialFolderPath(state, kDocumentsFolder);
    if (!documents.isEmpty()) control->Field()->setPlaceholderText(documents + u"/Zephyl Logs"_s);
    return control;
}

ValueControl* Make(const PreferenceRow& row, const ControlNeeds& needs, QWidget* parent)
{
    switch (row.kind) {
        case RowKind::Flag: return new FlagControl(row, parent);
        case RowKind::Number: return new NumberControl(row, parent);
        case RowKind::Secret: return new SecretControl(row, parent);
        case RowKind::Choice:
            return new ListControl([&row](QComboBox& box) { FillChoices(box, row); }, parent);
        case RowKind::Colour: return new ListControl(FillColours, parent);
        case RowKind::LineWidth: return new ListControl(FillWidths, parent);
        case RowKind::Configuration:
            return new ListControl(
                [configs = needs.configs](QComboBox& box) {
                    for (const QString& name : configs()) box.addItem(OneLine(name), name);
                },
                parent);
        case RowKind::FontFamily: return new FontControl(parent);
        case RowKind::Device: return new DeviceControl(row, needs.state, parent);
        case RowKind::Folder: return MakeFolder(row, needs.state, parent);
        case RowKind::Text: return new TextControl(row, parent);
    }
    return nullptr;
}

}  // namespace

QString ControlName(const char* prefix, const PreferenceRow& row)
{
    return QLatin1String(prefix) + QString::fromLatin1(row.key->key).remove(u' ');
}

ValueControl* MakeValueControl(const PreferenceRow& row, const ControlNeeds& needs, QWidget* parent)
{
    ValueControl* control = Make(row, needs, parent);
    control->Field()->setObjectName(ControlName("set_", row));
    if (auto* box = qobject_cast<QComboBox*>(control->Field())) SpeakByLabel(*box, PlainLabel(row));
    control->Field()->setAccessibleName(PlainLabel(row));
    if (auto* box = qobject_cast<QComboBox*>(control->Field())) SpeakByLabel(*box, PlainLabel(row));
    control->Field()->setAccessibleDescription(HelpOf(row));
    return control;
}
