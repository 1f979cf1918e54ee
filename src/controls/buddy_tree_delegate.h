// Draws the buddy tree as a flat list under its two groups: buddy nodes are
// chained one level deeper each (the tree's walkers rely on it), but a user
// should see every buddy of a group at the same indent.
#pragma once

#include <QStyledItemDelegate>

namespace velmora {

class BuddyTreeDelegate : public QStyledItemDelegate {
public:
    static constexpr int kBuddyIndent = 18;

    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

} // namespace velmora
