#pragma once

class SVListItemView;

// What a list row asks when its delete button is pressed; the row's list
// answers it.
class SVListItemViewDelegate {
public:
    virtual ~SVListItemViewDelegate() = default;

    virtual void shouldDeleteListItem(SVListItemView* item) = 0;
};
