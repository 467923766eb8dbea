/* What is wrong with a value that is about to be saved, and what puts it into effect. For web pages and other
 * programs that write the router's settings; see docs/settings-check.md. */
#ifndef SETTINGS_CHECK_H
#define SETTINGS_CHECK_H

#ifdef __cplusplus
extern "C" {
#endif

/* Null: the value is fine by itself. Else the reason in one sentence without a full stop, in a buffer that
 * the next call uses again. Of a key that rc does not know it says so. */
const char *settings_refuse(const char *key, const char *value);

/* The command that must be run before a change of this setting is saved; null: none. */
const char *settings_before(const char *key);

/* The commands that put changes into effect, each at most once and in this order; the last entry is null.
 * "reboot" stands for a restart of the router. */
extern const char *const settings_commands[];

/* Not 0: a change of this setting needs that command. */
int settings_needs(const char *key, const char *command);

#ifdef __cplusplus
}
#endif

#endif
