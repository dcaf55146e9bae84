#pragma once

#include <QString>

// Where the command-line programs that Sorvane drives live on this platform.
// Each location can be replaced through an environment variable, so that tests
// run fake programs instead of the real reboot or Sorvane's own defaults.
class ToolLocations {
public:
    // Sorvane's own programs folder: libexec/sorvane beside the running
    // program's bin/ (or the folder of a program that already lives there).
    static QString libexecFolder();

    // Sorvane's own defaults program for the chosen settings system
    // (SORVANE_DEFAULTS_TOOL replaces it).
    static QString defaultsTool();
    // The system's reboot program (SORVANE_REBOOT_TOOL replaces it).
    static QString rebootTool();
    // The system's unzip program (SORVANE_UNZIP_TOOL replaces it).
    static QString unzipTool();
    // The Linux desktop's self-deploying package program, of which every
    // self-deploying package file is a copy (SORVANE_DEPLOY_LINUX_TOOL
    // replaces it).
    static QString linuxDeployTool();
    // The bundled privileged helper (SORVANE_HELPER_TOOL replaces it).
    static QString helperTool();
    // The program that runs a command as root after asking the user
    // (SORVANE_PKEXEC_TOOL replaces it).
    static QString pkexecTool();
};
