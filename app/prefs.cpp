#include "app/prefs.h"

#include <sys/stat.h>

#include <string>

#include "uiruntime/uiruntime.h"

int groupColorApp = 0x99FFFF;
int operColorApp = 0xCCCCCC;
int textColorApp = 0;
int useVISAnamesApp = DEFAULTuseVisaId;
int showSessionApp = 1;
int showDuplicateApp = 0;
int viewRsrcConnApp = 1;
int loadConfigApp = 0;
int sleepMoreApp = 0;

namespace {

std::string projectDir;
bool projectDirKnown = false;
std::string lastDir;
bool lastDirValid = false;
int lastDirResult = 0;

struct PreferenceKey {
    const char* key;
    int defaultValue;
    int* value;
};

const PreferenceKey appPreferenceKeys[] = {
    {"groupColor", 0x99FFFF, &groupColorApp},
    {"operColor", 0xCCCCCC, &operColorApp},
    {"textColor", 0, &textColorApp},
    {"useVisaId", DEFAULTuseVisaId, &useVISAnamesApp},
    {"showSession", 1, &showSessionApp},
    {"showDuplicateRsrc", 0, &showDuplicateApp},
    {"viewRsrcByConn", 1, &viewRsrcConnApp},
    {"loadConfig", 0, &loadConfigApp},
    {"sleepMoreApp", 0, &sleepMoreApp},
};

}  // namespace

const char* programDirectory() {
    if (!projectDirKnown) {
        char dir[MAX_PATHNAME_LEN] = "";
        GetProjectDir(dir, sizeof dir);
        projectDir = dir;
        projectDirKnown = true;
    }
    return projectDir.c_str();
}

int _SetDir_(const char* dir) {
    std::string wanted = dir ? dir : programDirectory();
    if (lastDirValid && wanted == lastDir) return lastDirResult;
    lastDir = wanted;
    lastDirResult = SetDir(wanted.c_str());
    lastDirValid = true;
    return lastDirResult;
}

void _ResetDirCache_() {
    projectDirKnown = false;
    lastDirValid = false;
}

int _WriteIniFile_(IniText ini, const char* fileName) {
    struct stat before;
    bool known = stat(fileName, &before) == 0;
    int status = Ini_WriteToFile(ini, fileName);
    if (known) chmod(fileName, before.st_mode & 07777);
    return status;
}

void readAppPreferences(IniText ini) {
    for (const PreferenceKey& p : appPreferenceKeys) {
        int value = 0;
        *p.value = Ini_GetInt(ini, kPreferencesSection, p.key, &value) > 0 ? value : p.defaultValue;
    }
}
