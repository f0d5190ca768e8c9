// A private temporary directory, /tmp/vmnap-test-PID-XXXXXX, removed with everything in it on destruction
// (and by vmnap-sweep once this process has gone, should it be killed).
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

// Replaces the content of a file (creating it); false when it cannot be written.
bool WriteWholeFile(const std::string& path, const std::string& content);

#endif
