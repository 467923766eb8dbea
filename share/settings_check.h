/* What is wrong with a value that is about to be saved. For web pages and other programs that write the
 * router's settings; see docs/settings-check.md. */
#ifndef SETTINGS_CHECK_H
#define SETTINGS_CHECK_H

#ifdef __cplusplus
extern "C" {
#endif

/* Null: the value is fine by itself. Else the reason in one sentence without a full stop, in a buffer that
 * the next call uses again. Of a key that rc does not know it says so. */
const char *settings_refuse(const char *key, const char *value);

#ifdef __cplusplus
}
#endif

#endif
