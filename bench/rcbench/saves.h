// Waits for a file to be saved, whichever way an editor does it: written in place, or replaced by a new one
// of its name, and gone for a moment in between.
#pragma once

#include <filesystem>
#include <vector>

namespace rcbench {

class Saves {
  public:
    // Saves count from here on. Throws a Failure where the file's directory cannot be watched. Ctrl-C no
    // longer ends the program.
    explicit Saves(const std::filesystem::path &file);
    ~Saves();
    Saves(const Saves &) = delete;
    Saves &operator=(const Saves &) = delete;

    // True after a save; several in quick succession are one. False after Ctrl-C.
    bool wait();
    // Whether Ctrl-C was pressed.
    static bool is_over();

  private:
    struct Place {
        int watch;
        std::filesystem::path name;
    };

    void watch_places();
    void watch_directory_of(const std::filesystem::path &path);
    bool read_events() const;
    bool is_for_file(int watch, const char *name) const;

    std::filesystem::path file_;
    std::vector<Place> places_;
    int events_ = -1;
};

}  // namespace rcbench
