#include "controls/buddy_tree_delegate.h"

namespace velmora {

void BuddyTreeDelegate::initStyleOption(QStyleOptionViewItem* option,
                                        const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    if (index.parent().isValid()) {
        option->rect.adjust(kBuddyIndent, 0, 0, 0);
    }
}

QSize BuddyTreeDelegate::sizeHint(const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const {
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    if (index.parent().isValid()) {
        size.rwidth() += kBuddyIndent;
    }
    return size;
}

} // namespace velmora
