// A stand-in for rc in the tests of the bench: does what its words say, one after the other.
//
//     print TEXT   show TEXT (no line end)   sh COMMAND   pipe COMMAND (prints what it got in brackets)
//     sleep N      usleep N                  names TEXT   klog N         kill PID
//     clock        zone SECONDS (local time) address NAME resolve NAME   pid
//     append PATH TEXT                       exit N
#include <arpa/inet.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/klog.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

namespace {

void pipe_from(const char *command)
{
    FILE *pipe = popen(command, "r");
    char text[256];
    const size_t length = pipe == nullptr ? 0 : fread(text, 1, sizeof text - 1, pipe);
    text[length] = '\0';
    const int status = pipe == nullptr ? -1 : pclose(pipe);
    printf("[%s] %d\n", text, status);
}

void show_address(const char *name)
{
    const int fd = socket(AF_INET, SOCK_RAW, 255);
    ifreq asked = {};
    snprintf(asked.ifr_name, sizeof asked.ifr_name, "%s", name);
    for (const unsigned long request : {SIOCGIFADDR, SIOCGIFNETMASK, SIOCGIFBRDADDR}) {
        sockaddr_in inet = {};
        const bool known = ioctl(fd, request, &asked) == 0;
        memcpy(&inet, &asked.ifr_addr, sizeof inet);
        printf("%s ", known ? inet_ntoa(inet.sin_addr) : "none");
    }
    const bool known = ioctl(fd, SIOCGIFHWADDR, &asked) == 0;
    printf("%02x\n", known ? static_cast<unsigned char>(asked.ifr_hwaddr.sa_data[5]) : 0U);
    close(fd);
}

void show_local_time(const char *seconds)
{
    const time_t when = atol(seconds);
    tm local = {};
    (void)localtime_r(&when, &local);
    const tm *same = localtime(&when);
    printf("%02d:%02d %02d:%02d\n", local.tm_hour, local.tm_min, same->tm_hour, same->tm_min);
}

void append_text(const char *path, const char *text)
{
    FILE *file = fopen(path, "a");
    const bool written = file != nullptr && fputs(text, file) >= 0;
    const bool closed = file != nullptr && fclose(file) == 0;
    printf("%s\n", file == nullptr ? "cannot open" : written && closed ? "written" : "cannot write");
}

void call_system(const char *action, const char *word)
{
    const int number = atoi(word);
    if (strcmp(action, "sh") == 0) {
        (void)!system(word);
    } else if (strcmp(action, "sleep") == 0) {
        (void)sleep(static_cast<unsigned>(number));
    } else if (strcmp(action, "usleep") == 0) {
        (void)usleep(static_cast<useconds_t>(number));
    } else if (strcmp(action, "names") == 0) {
        const int host = sethostname(word, strlen(word));
        printf("%d %d\n", host, setdomainname(word, strlen(word)));
    } else if (strcmp(action, "klog") == 0) {
        printf("%d\n", klogctl(number, nullptr, 0));
    } else if (strcmp(action, "kill") == 0) {
        printf("%d\n", kill(number, SIGTERM));
    }
}

// Actions with one word; the others do nothing here.
void act(const char *action, const char *word)
{
    if (strcmp(action, "print") == 0) {
        printf("%s\n", word);
    } else if (strcmp(action, "show") == 0) {
        printf("%s", word);
        fflush(stdout);
    } else if (strcmp(action, "pipe") == 0) {
        pipe_from(word);
    } else if (strcmp(action, "zone") == 0) {
        show_local_time(word);
    } else if (strcmp(action, "address") == 0) {
        show_address(word);
    } else if (strcmp(action, "resolve") == 0) {
        printf("%s\n", gethostbyname(word) == nullptr ? "unknown" : "known");
    } else if (strcmp(action, "exit") == 0) {
        exit(atoi(word));
    } else {
        call_system(action, word);
    }
}

}  // namespace

int main(int count, char **words)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    setenv("PATH", "/bin:/sbin:/usr/sbin:/usr/bin", 1);
    int i = 1;
    while (i < count) {
        const char *action = words[i];
        if (strcmp(action, "clock") == 0) {
            printf("%ld\n", static_cast<long>(time(nullptr)));
            i += 1;
        } else if (strcmp(action, "pid") == 0) {
            printf("%d\n", static_cast<int>(getpid()));
            i += 1;
        } else if (strcmp(action, "append") == 0 && i + 2 < count) {
            append_text(words[i + 1], words[i + 2]);
            i += 3;
        } else if (i + 1 < count) {
            act(action, words[i + 1]);
            i += 2;
        } else {
            return 99;
        }
    }
    return 0;
}
