// The only program of a guest that has Debian's kernel: it loads the drivers, attaches the instrument over USB/IP, and
// does to the device what a test on the host tells it.
//
// It connects to the test at 10.0.2.2:test_port. A request is a letter, a size, each in four bytes with the least
// significant one first, and as many bytes as the size says; an answer is a result (0 or more, or a negative error
// number), a size and that many bytes.

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char* modules[] = {"e1000", "usb-common", "usbcore", "usbip-core", "vhci-hcd", "usbtmc"};
constexpr const char* ownAddress = "10.0.2.15";
constexpr const char* hostAddress = "10.0.2.2"; // loopback of the host
constexpr uint16_t usbipPort = 3240;
constexpr int vhciPorts = 8; // for high speed
constexpr useconds_t pause_us = 20'000;
constexpr int patience = 3000; // pauses
constexpr uint32_t largest = 1 << 20;

char bytes[largest];
int device = -1;

[[noreturn]] void fail(const char* what) {
    const int error = errno;
    if (FILE* const log = fopen("/dev/kmsg", "w")) {
        fprintf(log, "<2>guest: %s: %s\n", what, strerror(error));
        fclose(log);
    }
    reboot(RB_POWER_OFF);
    _exit(1);
}

void loadModules() {
    for (const char* name : modules) {
        char path[64];
        snprintf(path, sizeof path, "/modules/%s.ko", name);
        const int file = open(path, O_RDONLY);
        if (file < 0 || syscall(SYS_finit_module, file, "", 0) != 0)
            fail(path);
        close(file);
    }
}

sockaddr_in place(const char* address, uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = inet_addr(address);
    return result;
}

void bringUpNetwork() {
    const int control = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    strcpy(request.ifr_name, "eth0");
    for (const auto& [what, address] :
         {std::pair{SIOCSIFADDR, ownAddress}, std::pair{SIOCSIFNETMASK, "255.255.255.0"}}) {
        const sockaddr_in value = place(address, 0);
        memcpy(&request.ifr_addr, &value, sizeof value);
        if (ioctl(control, static_cast<unsigned long>(what), &request) != 0)
            fail(address);
    }
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    if (ioctl(control, SIOCSIFFLAGS, &request) != 0)
        fail("eth0");
    close(control);
}

/// A socket, or a negative error number.
int connectTo(uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = place(hostAddress, port);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return fd;
    const int error = errno;
    close(fd);
    return -error;
}

bool readAll(int fd, void* data, size_t count) {
    for (auto* at = static_cast<char*>(data); count > 0;) {
        const ssize_t got = read(fd, at, count);
        if (got <= 0)
            return false;
        at += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

bool writeAll(int fd, const void* data, size_t count) {
    for (const auto* at = static_cast<const char*>(data); count > 0;) {
        const ssize_t sent = write(fd, at, count);
        if (sent <= 0)
            return false;
        at += sent;
        count -= static_cast<size_t>(sent);
    }
    return true;
}

/// Imports the device and gives the connection to the kernel, as `usbip attach` does.
int attach() {
    const int fd = connectTo(usbipPort);
    if (fd < 0)
        return fd;
    unsigned char request[40] = {0x01, 0x11, 0x80, 0x03, 0, 0, 0, 0, '1', '-', '1'}, reply[8 + 312];
    int result = -EPROTO;
    if (writeAll(fd, request, sizeof request) && readAll(fd, reply, 8))
        result = reply[7] != 0 ? -EBUSY : readAll(fd, reply + 8, 312) ? 0 : -EPROTO;
    for (int port = 0; result == 0 && port < vhciPorts; ++port) {
        char line[64];
        const int length =
            snprintf(line, sizeof line, "%d %d %d %d", port, fd, reply[299] << 16 | reply[303], reply[307]);
        const int file = open("/sys/devices/platform/vhci_hcd.0/attach", O_WRONLY);
        const bool done = file >= 0 && write(file, line, static_cast<size_t>(length)) == length;
        result = done ? 0 : -errno;
        close(file);
        if (done)
            break;
        result = port + 1 < vhciPorts ? 0 : result; // the port of a device that has just gone
    }
    close(fd);
    return result;
}

int waitFor(const char* path, bool there) {
    for (int i = 0; i < patience; ++i) {
        if ((access(path, F_OK) == 0) == there)
            return 0;
        usleep(pause_us);
    }
    return -ETIMEDOUT;
}

int openDevice(const char* path) {
    if (const int error = waitFor(path, true); error != 0)
        return error;
    device = open(path, O_RDWR);
    return device < 0 ? -errno : 0;
}

int64_t orError(int64_t result) {
    return result < 0 ? -errno : result;
}

/// `*size` is that of the request's bytes and then of the answer's.
int64_t perform(char what, uint32_t* size) {
    uint32_t number = 0; // first of the request's bytes, in some
    memcpy(&number, bytes, sizeof number);
    const uint32_t given = *size;
    bytes[given] = 0;
    *size = 0;
    switch (what) {
    case 'a': return attach();
    case 'o': return openDevice(bytes);
    case 'g': return waitFor(bytes, false);
    case 'w': return orError(write(device, bytes, given));
    case 'i':
        *size = given - sizeof number;
        memmove(bytes, bytes + sizeof number, *size);
        return orError(ioctl(device, number, bytes));
    case 'r': {
        const int64_t count = orError(read(device, bytes, number));
        *size = static_cast<uint32_t>(count < 0 ? 0 : count);
        return count;
    }
    case 'c': return orError(close(device));
    default: return -EINVAL;
    }
}

void serve(int test) {
    uint32_t head[2]; // what, and the size
    while (readAll(test, head, sizeof head) && head[1] < largest && readAll(test, bytes, head[1])) {
        head[0] = static_cast<uint32_t>(perform(static_cast<char>(head[0]), &head[1]));
        if (!writeAll(test, head, sizeof head) || !writeAll(test, bytes, head[1]))
            return;
    }
}

} // namespace

int main() {
    mount("none", "/dev", "devtmpfs", 0, nullptr);
    mount("none", "/sys", "sysfs", 0, nullptr);
    loadModules();
    bringUpNetwork();
    const char* const port = getenv("test_port");
    const int test = connectTo(static_cast<uint16_t>(port != nullptr ? atoi(port) : 0));
    if (test < 0)
        fail("no test answers");
    serve(test);
    reboot(RB_POWER_OFF);
}
