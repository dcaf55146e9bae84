#pragma once

#include <Qt>

class FTPathControl;
class QFileDialog;
class QMenu;
class QMimeData;
class QUrl;

// The owner's side of a path control. Every operation is optional: the
// defaults answer as an owner that does not implement it would be answered:
// an open panel, every picked value accepted, dragged URLs let in but a drop
// taken only by an owner that overrides pathControlAcceptDrop.
class FTPathControlDelegate {
public:
    virtual ~FTPathControlDelegate() = default;

    // True asks for a save panel instead of an open panel to pick the first
    // value. The spelling "Inital" is the operation's long-standing name and is
    // kept deliberately.
    virtual bool pathControlShouldUseSavePanelToGetInitalValue(FTPathControl* pathControl);
    virtual void pathControlWillDisplaySavePanel(FTPathControl* pathControl, QFileDialog* panel);
    virtual void pathControlWillDisplayOpenPanel(FTPathControl* pathControl, QFileDialog* panel);
    // False rejects the value picked in the panel and the control goes back
    // to being unset.
    virtual bool pathControlInitialValueWasSet(FTPathControl* pathControl, const QUrl& url);

    // Asked before a path item is dragged out of a set control; the data
    // already holds the item's URL and may be changed.
    virtual bool pathControlShouldDragItem(FTPathControl* pathControl, const QUrl& item,
                                           QMimeData* pasteboard);
    // What a drag of URLs over the control would do; Qt::IgnoreAction refuses it.
    virtual Qt::DropAction pathControlValidateDrop(FTPathControl* pathControl,
                                                   const QMimeData* data);
    virtual bool pathControlAcceptDrop(FTPathControl* pathControl, const QMimeData* data);
    // Chance to change the path items' menu before it pops up.
    virtual void pathControlWillPopUpMenu(FTPathControl* pathControl, QMenu* menu);

    // The click notices a set control sends when its proper actions are
    // connected to this delegate (FTPathControl::connectProperActionsTo).
    virtual void pathControlClicked(FTPathControl* pathControl);
    virtual void pathControlDoubleClicked(FTPathControl* pathControl);
};
