// The router in memory: put in front of every source of rc, it turns the calls that reach files, programs,
// pauses and the kernel into calls of a router that is nothing but a table of files.
#pragma once

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/klog.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

int router_open(const char *path, int flags, int mode = 0);
FILE *router_fopen(const char *path, const char *mode);
int router_access(const char *path, int mode);
int router_unlink(const char *path);
int router_system(const char *command);
FILE *router_popen(const char *command, const char *mode);
int router_pause();
[[noreturn]] void router_exit(int status);
int router_ioctl(int fd, unsigned long request, void *argument);

// The router itself calls the real ones.
#ifndef MEMORY_ROUTER_ITSELF
#define open(...) router_open(__VA_ARGS__)
#define fopen(path, mode) router_fopen(path, mode)
#define access(path, mode) router_access(path, mode)
#define unlink(path) router_unlink(path)
#define system(command) router_system(command)
#define popen(command, mode) router_popen(command, mode)
#define pclose(stream) fclose(stream)
#define sleep(seconds) ((void)(seconds), router_pause())
#define usleep(time) ((void)(time), router_pause())
#define poll(fds, count, time) router_pause()
#define exit(status) router_exit(status)
#define ioctl(fd, request, argument) router_ioctl(fd, request, argument)
#define kill(process, signal) ((void)(process), (void)(signal), 0)
#define getpid() 1234
#define klogctl(type, text, length) 0
#define sethostname(name, length) ((void)(name), (void)(length), 0)
#define setdomainname(name, length) ((void)(name), (void)(length), 0)
#define gethostbyname(name) ((void)(name), static_cast<hostent *>(nullptr))
#define sigaction(number, action, old) ((void)(number), (void)(action), 0)
#define time(place) (static_cast<time_t>(1772785740))
#endif
