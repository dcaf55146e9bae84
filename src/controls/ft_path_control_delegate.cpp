#include "controls/ft_path_control_delegate.h"

bool FTPathControlDelegate::pathControlShouldUseSavePanelToGetInitalValue(FTPathControl*) {
    return false;
}

void FTPathControlDelegate::pathControlWillDisplaySavePanel(FTPathControl*, QFileDialog*) {}

void FTPathControlDelegate::pathControlWillDisplayOpenPanel(FTPathControl*, QFileDialog*) {}

bool FTPathControlDelegate::pathControlInitialValueWasSet(FTPathControl*, const QUrl&) {
    return true;
}

bool FTPathControlDelegate::pathControlShouldDragItem(FTPathControl*, const QUrl&, QMimeData*) {
    return true;
}

Qt::DropAction FTPathControlDelegate::pathControlValidateDrop(FTPathControl*, const QMimeData*) {
    return Qt::CopyAction;
}

bool FTPathControlDelegate::pathControlAcceptDrop(FTPathControl*, const QMimeData*) {
    return false;
}

void FTPathControlDelegate::pathControlWillPopUpMenu(FTPathControl*, QMenu*) {}

void FTPathControlDelegate::pathControlClicked(FTPathControl*) {}

void FTPathControlDelegate::pathControlDoubleClicked(FTPathControl*) {}
