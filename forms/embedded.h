// The descriptions of the settings, and the tables beside them, as texts inside the program.
#pragma once

namespace forms {

// Choice: the descriptions, the table of shell exposure and the table of readers are built into the
// programs, so that a dump can be judged without the project's folder.
struct EmbeddedText {
    const char *path;  // from the project's root
    const char *text;
};

extern const EmbeddedText kEmbeddedSettings[7];
extern const EmbeddedText kEmbeddedExposure;
extern const EmbeddedText kEmbeddedReaders;

}  // namespace forms
