#include "shell/about_box.h"

#include "controls/image_list.h"
#include "session/session.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

AboutBox::AboutBox(QWidget* owner) : QDialog(owner) {
    setObjectName(QStringLiteral("frmAbout"));
    setAttribute(Qt::WA_DeleteOnClose);
    const QString product = QString::fromLatin1(Session::kAppTitle);
    setWindowTitle(QStringLiteral("About \"") + product + QLatin1Char('"'));

    auto* logo = new QLabel(this);
    logo->setPixmap(images::mainImage(images::kTrayOnline).pixmap(64, 64));
    logo->setAlignment(Qt::AlignTop);
    auto* name = new QLabel(QStringLiteral("<span style='font-size:16pt; font-weight:bold'>") +
                                product + QStringLiteral("</span>"),
                            this);
    auto* version = new QLabel(QStringLiteral("Version: ") + Session::versionField(), this);
    version->setObjectName(QStringLiteral("lblVersion"));
    auto* blurb = new QLabel(QStringLiteral("A desktop instant messenger: buddies, private "
                                            "messages, conferences and offline messages."),
                             this);
    blurb->setWordWrap(true);
    const QString email = QString::fromLatin1(kEmail);
    const QString web = QString::fromLatin1(kWebSite);
    auto* contact = new QLabel(QStringLiteral("E-mail: <a href='mailto:%1'>%1</a><br>Web site: <a "
                                              "href='%2'>%2</a>")
                                   .arg(email, web),
                               this);
    contact->setObjectName(QStringLiteral("lblContact"));
    contact->setOpenExternalLinks(true);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QWidget::close);

    auto* text = new QVBoxLayout;
    text->addWidget(name);
    text->addWidget(version);
    text->addSpacing(6);
    text->addWidget(blurb);
    text->addSpacing(6);
    text->addWidget(contact);
    auto* top = new QHBoxLayout;
    top->addWidget(logo);
    top->addSpacing(12);
    top->addLayout(text, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(buttons);
    setFixedWidth(380);
}

} // namespace velmora
