#pragma once

class SVListItemView;
class SVListView;

// The owner of a deletable list: it deletes the item a row stands for and
// answers true when the row is to go.
class SVListViewDelegate {
public:
    virtual ~SVListViewDelegate() = default;

    virtual bool shouldListViewDeleteListItem(SVListView* listView, SVListItemView* item) = 0;
};
