// The incoming-file prompt "frmFileOffer": who offers what, and the choice
// to accept it into the download folder, save it elsewhere, or decline.
#pragma once

#include <QWidget>

namespace velmora {

struct FileOffer;

class OfferWindow : public QWidget {
    Q_OBJECT
public:
    // `name` is the plain name the file would be saved under.
    OfferWindow(const FileOffer& offer, const QString& name);
    // The offer was answered: the prompt goes.
    void done();

signals:
    void accepted();
    void saveAsChosen();
    void declined();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    bool answered_ = false;
};

} // namespace velmora
