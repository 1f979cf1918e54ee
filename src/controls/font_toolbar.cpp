#include "controls/font_toolbar.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFontDatabase>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QPixmap>
#include <QToolBar>
#include <QToolButton>

namespace velmora {

namespace {

constexpr int kSmallestSize = 8;
constexpr int kLargestSize = 28;
constexpr QSize kSmilieSize(19, 19);

// The picture of each picker button, by index (the codes are kSmilieCodes).
constexpr std::array<const char*, 7> kSmilieFiles{
    "smilie.gif", "grin.gif", "tounge.gif", "sad.gif", "whatever.gif", "shocked.gif", "wink.gif"};

// The toggles' names, by FontToolbar::Style.
constexpr std::array<const char*, 3> kStyleNames{"Bold", "Italic", "Underlined"};

QString styleName(FontToolbar::Style style) {
    return QString::fromLatin1(kStyleNames[static_cast<std::size_t>(style)]);
}

QComboBox* makeList(const QString& objectName, const QString& accessibleName, int minimumChars,
                    QWidget* parent) {
    auto* list = new QComboBox(parent);
    list->setObjectName(objectName);
    // Editable so that a face or size the list does not hold can still be
    // typed or restored; typed text never joins the list.
    list->setEditable(true);
    list->setAccessibleName(accessibleName);
    list->lineEdit()->setAccessibleName(accessibleName);
    list->setInsertPolicy(QComboBox::NoInsert);
    list->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    list->setMinimumContentsLength(minimumChars);
    return list;
}

} // namespace

FontToolbar::FontToolbar(QWidget* parent)
    : QWidget(parent),
      m_name(makeList(QStringLiteral("cboFontName"), QStringLiteral("Font"), 14, this)),
      m_size(makeList(QStringLiteral("cboFontSize"), QStringLiteral("Font size"), 3, this)),
      m_toolbar(new QToolBar(this)) {
    m_toolbar->setObjectName(QStringLiteral("tbFont"));
    m_toolbar->setIconSize(kSmilieSize);
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextOnly);

    for (int size = kSmallestSize; size <= kLargestSize; ++size) {
        m_size->addItem(QString::number(size));
    }
    // The font database answers from memory, so the faces go in at once.
    for (const QString& family : QFontDatabase::families()) {
        if (!family.isEmpty()) {
            m_name->addItem(family);
        }
    }

    m_toggles[0] = addToggle(Style::Bold, QStringLiteral("B"), tr("Bold"));
    m_toggles[1] = addToggle(Style::Italic, QStringLiteral("I"), tr("Italic"));
    m_toggles[2] = addToggle(Style::Underlined, QStringLiteral("U"), tr("Underline"));
    m_toolbar->addSeparator();
    buildSmiliePicker();

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_name, 1);
    layout->addWidget(m_size);
    layout->addWidget(m_toolbar);

    connect(m_name, &QComboBox::editTextChanged, this, &FontToolbar::FontNameChanged);
    connect(m_size, &QComboBox::editTextChanged, this, &FontToolbar::FontSizeChanged);
}

QAction* FontToolbar::addToggle(Style style, const QString& letter, const QString& tip) {
    QAction* action = m_toolbar->addAction(letter);
    action->setObjectName(styleName(style));
    action->setCheckable(true);
    action->setToolTip(tip);
    QFont font = m_toolbar->font();
    font.setBold(style == Style::Bold);
    font.setItalic(style == Style::Italic);
    font.setUnderline(style == Style::Underlined);
    action->setFont(font);
    // A click reports through `triggered`; the setters report themselves.
    connect(action, &QAction::triggered, this,
            [this, style](bool checked) { emit FontStyleChanged(style, checked); });
    return action;
}

void FontToolbar::buildSmiliePicker() {
    m_smilieButton = new QToolButton(m_toolbar);
    m_smilieButton->setObjectName(QStringLiteral("SmilieEntry"));
    m_smilieButton->setText(QString::fromLatin1(kSmilieCodes[0]));
    m_smilieButton->setToolTip(tr("Insert a smilie"));
    m_smilieButton->setAutoRaise(true);
    m_smilieEntry = m_toolbar->addWidget(m_smilieButton);

    m_picker = new QFrame(this, Qt::Popup);
    m_picker->setObjectName(QStringLiteral("SmiliePicker"));
    m_picker->setFrameShape(QFrame::StyledPanel);
    auto* row = new QHBoxLayout(m_picker);
    row->setContentsMargins(2, 2, 2, 2);
    row->setSpacing(1);
    for (int i = 0; i < static_cast<int>(m_smilies.size()); ++i) {
        auto* button = new QToolButton(m_picker);
        button->setObjectName(QStringLiteral("Smilie"));
        button->setProperty("index", i);
        button->setText(QString::fromLatin1(kSmilieCodes[static_cast<std::size_t>(i)]));
        button->setToolTip(button->text());
        button->setAutoRaise(true);
        button->setIconSize(kSmilieSize);
        connect(button, &QToolButton::clicked, this, [this, i] { smilieClicked(i); });
        row->addWidget(button);
        m_smilies[static_cast<std::size_t>(i)] = button;
    }

    connect(m_smilieButton, &QToolButton::clicked, this, [this] {
        m_picker->adjustSize();
        m_picker->move(m_smilieButton->mapToGlobal(QPoint(0, m_smilieButton->height())));
        m_picker->show();
    });
}

void FontToolbar::loadSmilies(const QString& appFolder) {
    const QDir dir(QDir(appFolder).filePath(QStringLiteral("Smilies")));
    for (std::size_t i = 0; i < m_smilies.size(); ++i) {
        const QPixmap picture(dir.filePath(QString::fromLatin1(kSmilieFiles[i])));
        const QIcon icon = picture.isNull() ? QIcon() : QIcon(picture);
        QToolButton* button = m_smilies[i];
        button->setIcon(icon);
        button->setToolButtonStyle(icon.isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonIconOnly);
    }
    m_smilieButton->setIcon(m_smilies[0]->icon());
    m_smilieButton->setToolButtonStyle(m_smilieButton->icon().isNull() ? Qt::ToolButtonTextOnly
                                                                       : Qt::ToolButtonIconOnly);
}

void FontToolbar::smilieClicked(int index) {
    m_picker->hide();
    emit SmilieClick(QString::fromLatin1(kSmilieCodes[static_cast<std::size_t>(index)]));
}

QString FontToolbar::FontName() const {
    return m_name->currentText();
}

void FontToolbar::setFontName(const QString& name) {
    const int index = m_name->findText(name);
    if (index >= 0) {
        m_name->setCurrentIndex(index);
    }
    m_name->setEditText(name);
}

QString FontToolbar::FontSize() const {
    return m_size->currentText();
}

void FontToolbar::setFontSize(const QString& size) {
    const int index = m_size->findText(size);
    if (index >= 0) {
        m_size->setCurrentIndex(index);
    }
    m_size->setEditText(size);
}

bool FontToolbar::Bold() const {
    return m_toggles[0]->isChecked();
}

void FontToolbar::setBold(bool on) {
    setStyle(Style::Bold, on);
}

bool FontToolbar::Italic() const {
    return m_toggles[1]->isChecked();
}

void FontToolbar::setItalic(bool on) {
    setStyle(Style::Italic, on);
}

bool FontToolbar::Underlined() const {
    return m_toggles[2]->isChecked();
}

void FontToolbar::setUnderlined(bool on) {
    setStyle(Style::Underlined, on);
}

void FontToolbar::setStyle(Style style, bool on) {
    m_toggles[static_cast<std::size_t>(style)]->setChecked(on);
    emit PropertyChanged(styleName(style));
    emit FontStyleChanged(style, on);
}

bool FontToolbar::SmilieVisible() const {
    return m_smilieEntry->isVisible();
}

void FontToolbar::setSmilieVisible(bool visible) {
    m_smilieEntry->setVisible(visible);
    if (!visible) {
        m_picker->hide();
    }
    emit PropertyChanged(QStringLiteral("SmilieVisible"));
}

} // namespace velmora
