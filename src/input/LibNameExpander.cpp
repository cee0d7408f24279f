#include "input/LibNameExpander.h"

#include "input/os.h"
#include "support/error.h"
#include "support/formout.h"
#include "support/stringcltn.h"
#include "support/strutil.h"
#include "support/toggles.h"

#include <cstdio>
#include <cstdlib>

LibNameExpander::LibNameExpander(bool crossLinking)
    : searchPaths(std::make_unique<StringCollection>()), crossLinking(crossLinking),
      trace(toggleTable().define("LIB", false)) {
    if (crossLinking) return;
    if (const char *value = std::getenv("LD_LIBRARY_PATH")) {
        libraryPath = value;
        size_t bar = libraryPath.find('|');
        if (bar != std::string::npos) {
            libraryPath[bar] = '\0';
            preLibraryPath = libraryPath.c_str();
            postLibraryPath = libraryPath.c_str() + bar + 1;
        } else {
            postLibraryPath = libraryPath.c_str();
        }
    }
    const char *libPath = std::getenv("LIBPATH");
    defaultPath = libPath ? libPath : "/lib";
}

LibNameExpander::~LibNameExpander() = default;

void LibNameExpander::setCrossLinking(bool value) {
    crossLinking = value;
    if (trace.isOn()) traceOut().print("[LIB] Cross linking set to %s\n", value ? "TRUE" : "FALSE");
}

void LibNameExpander::add_lib_path(const char *path) {
    if (trace.isOn()) traceOut().print("[lib] add_lib_path(\"%s\")\n", path);
    searchPaths->append(path, false);
}

void LibNameExpander::add_default_lib_path(const char *path) {
    if (trace.isOn()) traceOut().print("[lib] add_default_lib_path(\"%s\")\n", path);
    defaultPath = path;
    defaultPathGiven = true;
}

std::unique_ptr<DisplayFileName> LibNameExpander::expand(const char *name, bool allowShared,
                                                         ErrorContext &errors) {
    if (trace.isOn()) traceOut().print("[lib] Process -l%s\n", name);
    // The name is cut to 30 characters in the file names.
    char archive[40], shared[40], sharedDll[40], dll[40], lib[40];
    std::snprintf(archive, sizeof archive, "lib%.*s.a", 30, name);
    std::snprintf(shared, sizeof shared, "lib%.*s.so", 30, name);
    std::snprintf(sharedDll, sizeof sharedDll, "lib%.*s.dll", 30, name);
    std::snprintf(dll, sizeof dll, "%.*s.dll", 30, name);
    std::snprintf(lib, sizeof lib, "%.*s.lib", 30, name);
    const char *sharedForms[] = {shared, sharedDll, dll};
    const char *staticForms[] = {archive, lib};

    std::unique_ptr<DisplayFileName> found;
    auto tryFile = [&](const char *directory, const char *file) {
        // The path is built whole, however long the directory: a path cut
        // short could name some other file.
        std::string path = std::string(directory) + "/" + file;
        if (trace.isOn()) traceOut().print("[LIB] trying %s\n", path.c_str());
        if (!fileExists(path.c_str())) return false;
        if (trace.isOn()) traceOut().print("[LIB] ...Success on %s!\n", path.c_str());
        found = std::make_unique<DisplayFileName>(path.c_str(), path.c_str());
        return true;
    };
    auto searchDirectory = [&](const char *directory) {
        if (found) return;
        if (allowShared)
            for (const char *file : sharedForms)
                if (tryFile(directory, file)) return;
        for (const char *file : staticForms)
            if (tryFile(directory, file)) return;
    };
    auto searchList = [&](const char *list) {
        if (list && !found) eachSubstring(searchDirectory, list, ';');
    };

    if (!crossLinking) searchList(preLibraryPath);
    searchPaths->each(searchList);
    if (!crossLinking) searchList(postLibraryPath);
    if (!crossLinking || defaultPathGiven) searchList(defaultPath);

    if (!found) errors.error("Library not found: -l%s", name);
    return found;
}
