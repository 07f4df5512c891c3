// What is wrong with a resources directory, as the check of configurations finds it.
#pragma once

#include <string>
#include <vector>

namespace bench {

enum class Severity { Note, Warning, Error };

struct Finding {
    std::string file;  // name below the directory
    int line = 0;      // 0: the file as a whole
    int control = -1;  // configuration index of the control that it is about
    Severity severity = Severity::Note;
    std::string rule, text;

    std::string where() const { return file + (line > 0 ? ":" + std::to_string(line) : ""); }
};

// Reads the files as they are now, in a process of its own. None if that cannot be run.
std::vector<Finding> findings_of(const std::string& resources_dir);

}  // namespace bench
