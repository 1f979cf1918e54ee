#include "controls/buddy_list.h"

#include "controls/image_list.h"

#include <QTreeWidget>

namespace velmora {

namespace {
const QString kOnlineKey = QStringLiteral("f1");
const QString kOfflineKey = QStringLiteral("f2");

void collect(QTreeWidgetItem* node, QList<QTreeWidgetItem*>& out) {
    out.append(node);
    for (int i = 0; i < node->childCount(); ++i) {
        collect(node->child(i), out);
    }
}
} // namespace

BuddyList::BuddyList(QTreeWidget& tree, qint32& nodeKey) : tree_(tree), nodeKey_(nodeKey) {}

QTreeWidgetItem* BuddyList::addNode(QTreeWidgetItem* parent, const QString& key,
                                    const QString& text, int image) {
    auto* node = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(&tree_);
    node->setText(0, text);
    node->setData(0, kKeyRole, key);
    node->setData(0, kImageRole, image);
    node->setIcon(0, images::mainImage(image));
    return node;
}

void BuddyList::reset() {
    tree_.clear();
    onlineInsert_ =
        addNode(nullptr, kOnlineKey, QStringLiteral("Online Buddies"), images::kOnlineGroup);
    offlineInsert_ =
        addNode(nullptr, kOfflineKey, QStringLiteral("Offline Buddies"), images::kOfflineGroup);
    for (QTreeWidgetItem* group : {onlineInsert_, offlineInsert_}) {
        QFont font = group->font(0);
        font.setBold(true);
        group->setFont(0, font);
        group->setExpanded(true);
    }
    nodeKey_ = 2;
}

void BuddyList::addBuddy(bool online, const QString& name) {
    QTreeWidgetItem*& insert = online ? onlineInsert_ : offlineInsert_;
    const QString key =
        (online ? QStringLiteral("n") : QStringLiteral("f")) + QString::number(nodeKey_);
    insert = addNode(insert, key, name, online ? images::kOnlineBuddy : images::kOfflineBuddy);
    // A screen reader hears the presence that the picture shows.
    insert->setData(0, Qt::AccessibleTextRole,
                    name + (online ? QStringLiteral(", online") : QStringLiteral(", offline")));
    insert->setData(0, Qt::AccessibleDescriptionRole,
                    online ? QStringLiteral("Online") : QStringLiteral("Offline"));
    // Show the whole chain: each buddy sits under the one before it.
    for (QTreeWidgetItem* up = insert->parent(); up; up = up->parent()) {
        up->setExpanded(true);
    }
}

void BuddyList::onBuddyList(const QList<BuddyListItem>& items) {
    reset();
    for (const BuddyListItem& item : items) {
        ++nodeKey_; // every item takes a key, skipped ones included
        if (item.state != BuddyListItem::Skipped) {
            addBuddy(item.state == BuddyListItem::Online, item.name);
        }
    }
}

void BuddyList::removeBuddy(const QString& name) {
    QTreeWidgetItem* node = findBuddy(name);
    if (!node) {
        return;
    }
    // The buddies chained below move up one level so that no one else
    // leaves the list with the removed node.
    QTreeWidgetItem* parent = node->parent();
    const QList<QTreeWidgetItem*> below = node->takeChildren();
    if (parent) {
        parent->addChildren(below);
    } else {
        tree_.addTopLevelItems(below);
    }
    delete node;
    onlineInsert_ = chainEnd(tree_.topLevelItem(0));
    offlineInsert_ = chainEnd(tree_.topLevelItem(1));
}

QTreeWidgetItem* BuddyList::chainEnd(QTreeWidgetItem* node) {
    while (node && node->childCount() > 0) {
        node = node->child(node->childCount() - 1);
    }
    return node;
}

void BuddyList::onLoggedIn(const QString& name) {
    removeBuddy(name);
    ++nodeKey_;
    addBuddy(true, name);
}

void BuddyList::onLoggedOut(const QString& name) {
    removeBuddy(name);
    ++nodeKey_;
    addBuddy(false, name);
}

QList<QTreeWidgetItem*> BuddyList::allNodes() const {
    QList<QTreeWidgetItem*> nodes;
    for (int i = 0; i < tree_.topLevelItemCount(); ++i) {
        collect(tree_.topLevelItem(i), nodes);
    }
    return nodes;
}

QString BuddyList::keyOf(const QTreeWidgetItem* node) {
    return node ? node->data(0, kKeyRole).toString() : QString();
}

bool BuddyList::isGroupNode(const QTreeWidgetItem* node) {
    const QString key = keyOf(node);
    return key == kOnlineKey || key == kOfflineKey;
}

QTreeWidgetItem* BuddyList::findBuddy(const QString& name) const {
    const QString wanted = name.toUpper();
    for (QTreeWidgetItem* node : allNodes()) {
        if (!isGroupNode(node) && node->text(0).toUpper() == wanted) {
            return node;
        }
    }
    return nullptr;
}

QStringList BuddyList::onlineBuddies() const {
    QStringList names;
    for (QTreeWidgetItem* node : allNodes()) {
        if (keyOf(node).startsWith(QLatin1Char('n'))) {
            names.append(node->text(0));
        }
    }
    return names;
}

} // namespace velmora
