#include "workflows/plutil_error.h"

PlutilError::PlutilError(const QString& path, const QString& error)
    : path_(path)
    , errorString_(error) {}

PlutilError PlutilError::plutilErrorWithPath(const QString& path, const QString& error) {
    return PlutilError(path, error);
}
