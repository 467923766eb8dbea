// The descriptions of the settings, and the tables beside them, as texts inside the program.
#pragma once

namespace forms {

struct EmbeddedText {
    const char *path;  // from the project's root
    const char *text;
};

extern const EmbeddedText kEmbeddedSettings[7];
extern const EmbeddedText kEmbeddedExposure;
extern const EmbeddedText kEmbeddedReaders;

}  // namespace forms
