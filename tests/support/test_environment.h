#pragma once

#include <QTemporaryDir>

// Prepares a test program before any test runs: a private temporary folder
// stands for HOME, the system root and the XDG folders, so that no test can
// reach the real home folder or /Library by accident; it chooses the macOS
// home folder as the settings system; SORVANE_BUILD_DIR and
// SORVANE_SOURCE_DIR tell tests where the build and the sources are; GUI
// tests draw offscreen. Returns false when the scratch folder cannot be made.
bool prepareTestEnvironment(const QTemporaryDir& scratch);
