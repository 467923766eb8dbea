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
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <istream>
#include <memory>
#include <ostream>
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
int router_pclose(FILE *stream);
ssize_t router_read(int fd, void *buffer, size_t size);
ssize_t router_write(int fd, const void *bytes, size_t size);
off_t router_lseek(int fd, off_t offset, int from);
int router_fcntl(int fd, int request, struct flock *lock = nullptr);
int router_socket();
hostent *router_host();
time_t router_time();

// The router itself calls the real ones. What has members of the same names is included above.
#ifndef MEMORY_ROUTER_ITSELF
#define open(...) router_open(__VA_ARGS__)
#define fopen(path, mode) router_fopen(path, mode)
#define access(path, mode) router_access(path, mode)
#define unlink(path) router_unlink(path)
#define system(command) router_system(command)
#define popen(command, mode) router_popen(command, mode)
#define pclose(stream) router_pclose(stream)
#define read(fd, buffer, size) router_read(fd, buffer, size)
#define write(fd, bytes, size) router_write(fd, bytes, size)
#define lseek(fd, offset, from) router_lseek(fd, offset, from)
#define fcntl(...) router_fcntl(__VA_ARGS__)
#define socket(family, type, protocol) router_socket()
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
#define gethostbyname(name) ((void)(name), router_host())
#define sigaction(number, action, old) ((void)(number), (void)(action), 0)
#define time(place) router_time()
#endif

// Makes rc forget what it keeps for the length of a run.
void forget_run();
