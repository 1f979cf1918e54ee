// `frmAbout`: the product, its version and where to reach its makers.
#pragma once

#include <QDialog>

namespace velmora {

class AboutBox : public QDialog {
    Q_OBJECT
public:
    static constexpr const char* kEmail = "hello@velmora.chat";
    static constexpr const char* kWebSite = "https://velmora.chat";

    explicit AboutBox(QWidget* owner);
};

} // namespace velmora
