#pragma once

#include <string>
#include <vector>

namespace selfdeploy {

// Writes files into the home folder and nowhere else. Each folder below the
// home is opened relative to the one before without following links, so a
// link planted in the home (~/.config pointing at another user's files, say)
// stops the write instead of redirecting it; each file is written beside its
// place under a temporary name and renamed over it, so that a reader sees the
// old file or the new one, and a link in the file's own place is replaced,
// never followed. Folders are made as needed.
class HomeWriter {
public:
    explicit HomeWriter(std::string home);

    // Writes the bytes at the folders and file name below the home (as
    // PackagePlaces gives them); false with *error, naming the path.
    bool write(const std::vector<std::string>& components, const std::string& bytes,
               std::string* error) const;

private:
    std::string home_;
};

} // namespace selfdeploy
