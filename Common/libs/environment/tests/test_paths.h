// Paths inside a test's temporary directory as Env::String.
#ifndef ENV_TESTS_TEST_PATHS_H
#define ENV_TESTS_TEST_PATHS_H

#include <string>

#include "EnvString.h"
#include "temp_dir.h"

inline Env::String PathIn(const TempDir& dir, const std::string& name) {
    return Env::String(dir.file(name).c_str());
}

#endif
