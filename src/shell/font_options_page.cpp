#include "shell/font_options_page.h"

#include "settings/settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

namespace velmora {

FontOptionsPage::FontOptionsPage(QWidget* parent)
    : OptionsPage(parent), cboFontName_(new QComboBox(this)), cboFontSize_(new QComboBox(this)),
      chkBold_(new QCheckBox(QStringLiteral("&Bold"), this)),
      chkItalic_(new QCheckBox(QStringLiteral("&Italic"), this)),
      chkUnderlined_(new QCheckBox(QStringLiteral("&Underlined"), this)),
      lblPreview_(new QLabel(QStringLiteral("The quick brown fox jumps over the lazy dog"), this)) {
    setObjectName(QStringLiteral("pageFont"));
    cboFontName_->setObjectName(QStringLiteral("cboFontName"));
    // Editable: a face saved on another computer keeps its name here even
    // when this one does not have it.
    cboFontName_->setEditable(true);
    cboFontName_->setInsertPolicy(QComboBox::NoInsert);
    cboFontName_->addItems(QFontDatabase::families());
    cboFontSize_->setObjectName(QStringLiteral("cboFontSize"));
    cboFontSize_->setEditable(true);
    cboFontSize_->setInsertPolicy(QComboBox::NoInsert);
    for (int size : {8, 9, 10, 11, 12, 14, 16, 18, 20, 24}) {
        cboFontSize_->addItem(QString::number(size));
    }
    cboFontSize_->setValidator(new QIntValidator(1, 72, cboFontSize_));
    chkBold_->setObjectName(QStringLiteral("chkBold"));
    chkItalic_->setObjectName(QStringLiteral("chkItalic"));
    chkUnderlined_->setObjectName(QStringLiteral("chkUnderlined"));
    lblPreview_->setObjectName(QStringLiteral("lblPreview"));
    lblPreview_->setFrameShape(QFrame::StyledPanel);
    lblPreview_->setMinimumHeight(48);
    lblPreview_->setAlignment(Qt::AlignCenter);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Font:"), cboFontName_);
    form->addRow(QStringLiteral("&Size:"), cboFontSize_);
    auto* styles = new QHBoxLayout;
    styles->addWidget(chkBold_);
    styles->addWidget(chkItalic_);
    styles->addWidget(chkUnderlined_);
    styles->addStretch(1);
    form->addRow(QStringLiteral("Style:"), styles);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(lblPreview_);
    layout->addStretch(1);

    connect(cboFontName_, &QComboBox::currentTextChanged, this, [this] { updatePreview(); });
    connect(cboFontSize_, &QComboBox::currentTextChanged, this, [this] { updatePreview(); });
    for (QCheckBox* box : {chkBold_, chkItalic_, chkUnderlined_}) {
        connect(box, &QCheckBox::toggled, this, [this] { updatePreview(); });
    }
}

void FontOptionsPage::updatePreview() {
    QFont font(cboFontName_->currentText());
    font.setPointSize(qMax(1, cboFontSize_->currentText().toInt()));
    font.setBold(chkBold_->isChecked());
    font.setItalic(chkItalic_->isChecked());
    font.setUnderline(chkUnderlined_->isChecked());
    lblPreview_->setFont(font);
}

void FontOptionsPage::restoreOptions(const Settings& settings) {
    cboFontName_->setEditText(settings.fontName());
    cboFontSize_->setEditText(settings.fontSize());
    chkBold_->setChecked(settings.fontBold());
    chkItalic_->setChecked(settings.fontItalic());
    chkUnderlined_->setChecked(settings.fontUnderlined());
    updatePreview();
}

void FontOptionsPage::applyOptions(Settings& settings, MainWindowValues& values) {
    Q_UNUSED(values); // message windows read the font when they open
    settings.setFontName(cboFontName_->currentText());
    // The validator lets an empty size through while typing; it is not a size.
    const QString size = cboFontSize_->currentText().trimmed();
    settings.setFontSize(size.isEmpty() ? QStringLiteral("10") : size);
    settings.setFontBold(chkBold_->isChecked());
    settings.setFontItalic(chkItalic_->isChecked());
    settings.setFontUnderlined(chkUnderlined_->isChecked());
}

} // namespace velmora
