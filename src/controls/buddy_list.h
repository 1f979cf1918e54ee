// The buddy tree `tvBuddies`: two group nodes, "Online Buddies" (key "f1")
// and "Offline Buddies" (key "f2"), filled from the buddy list the server sends
// at login and kept current by the presence notices.
//
// Each new buddy node becomes the child of the previous one in its group, so
// a group is a chain that nests one level deeper per buddy; every routine
// that looks for buddies walks the whole tree, whatever the depth.
#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

class QTreeWidget;
class QTreeWidgetItem;

namespace velmora {

// One item of the buddy list the server sends at login. An item that is
// neither online nor offline adds no node but still takes a node key.
struct BuddyListItem {
    enum State { Skipped, Online, Offline };
    State state = Skipped;
    QString name;
};

class BuddyList {
public:
    static constexpr int kKeyRole = Qt::UserRole;
    static constexpr int kImageRole = Qt::UserRole + 1;

    BuddyList(QTreeWidget& tree, qint32& nodeKey);

    // Clears the tree, adds the two group nodes and sets the key counter to 2.
    void reset();
    void onBuddyList(const QList<BuddyListItem>& items);
    void onLoggedIn(const QString& name);
    void onLoggedOut(const QString& name);

    // Every node of the tree, depth first, group nodes included.
    [[nodiscard]] QList<QTreeWidgetItem*> allNodes() const;
    [[nodiscard]] static QString keyOf(const QTreeWidgetItem* node);
    [[nodiscard]] static bool isGroupNode(const QTreeWidgetItem* node);
    // The buddy node for `name` (ignoring case), or null.
    [[nodiscard]] QTreeWidgetItem* findBuddy(const QString& name) const;
    // Buddies shown online, in tree order.
    [[nodiscard]] QStringList onlineBuddies() const;

private:
    QTreeWidgetItem* addNode(QTreeWidgetItem* parent, const QString& key, const QString& text,
                             int image);
    void addBuddy(bool online, const QString& name);
    void removeBuddy(const QString& name);
    static QTreeWidgetItem* chainEnd(QTreeWidgetItem* node);

    QTreeWidget& tree_;
    qint32& nodeKey_;
    QTreeWidgetItem* onlineInsert_ = nullptr;
    QTreeWidgetItem* offlineInsert_ = nullptr;
};

} // namespace velmora
