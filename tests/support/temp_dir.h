// A private temporary directory, removed with everything in it on destruction.
#ifndef VMNAP_TEST_SUPPORT_TEMP_DIR_H
#define VMNAP_TEST_SUPPORT_TEMP_DIR_H

#include <string>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;

private:
    std::string path_;
};

// Whole content of a file; empty when it cannot be read.
std::string ReadFile(const std::string& path);

#endif
