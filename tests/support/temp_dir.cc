#include "temp_dir.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "leftover_names.h"

TempDir::TempDir() {
    std::string pattern = TestDirPattern();
    if (mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::string cmd = "rm -rf '" + path_ + "'";
    if (system(cmd.c_str()) != 0) {
        // Nothing more to do in a destructor; a leftover temp dir is harmless.
    }
}

void TempDir::Write(const std::string& name, const std::string& content) const {
    std::ofstream out(file(name), std::ios::binary);
    out << content;
}

std::string TempDir::Read(const std::string& name) const { return ReadFile(file(name)); }

bool TempDir::Exists(const std::string& name) const {
    struct stat st;
    return stat(file(name).c_str(), &st) == 0;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

bool WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return static_cast<bool>(out);
}
