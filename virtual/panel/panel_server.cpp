#include "virtual/panel/panel_server.h"

#include <cerrno>
#include <cstring>
#include <list>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace vi {
namespace {

constexpr int clientsMax = 16, backlog = 128;
constexpr size_t unsentMax =
    64u << 20;                         // bytes of all clients; then the one that has read least of its answers has gone
constexpr size_t behindMax = 64 << 10; // bytes; to who reads no faster nothing is shown, and his keys wait
constexpr size_t keysMax = 64 << 10;   // bytes behind a key that waits
constexpr size_t lineMax = 1024;       // bytes; so has one that never ends its line

struct Client {
    int fd, user;
    std::string received, unsent;
    PanelPicture shown;
    bool greeted = false;
    bool waits = false; // for the answer to its key
    bool gone = false;
};

class Server {
public:
    Server(FrontPanel* panel, int listenFd, int newsFd) : panel_(panel), listenFd_(listenFd), newsFd_(newsFd) {}

    [[noreturn]] void run() {
        for (;;)
            step();
    }

private:
    void step() {
        std::vector<pollfd> watched{{listenFd_, POLLIN, 0}, {newsFd_, POLLIN, 0}};
        for (const Client& client : clients_)
            watched.push_back({client.fd, short(client.unsent.empty() ? POLLIN : POLLIN | POLLOUT), 0});
        if (poll(watched.data(), watched.size(), -1) < 0)
            return;
        uint64_t ignored;
        if (watched[1].revents != 0 && ::read(newsFd_, &ignored, sizeof ignored) < 0)
            return;
        size_t at = 2;
        for (Client& client : clients_)
            if (watched[at++].revents != 0)
                receive(client);
        if (watched[0].revents != 0)
            accept();
        const std::vector<PanelAnswer> answers = panel_->takeAnswers(); // first: the picture knows what they have done
        const PanelPicture picture = panel_->picture();
        for (Client& client : clients_) {
            show(client, picture);
            handOut(client, answers);
            pressKeys(client);
            send(client);
        }
        endWhoReadsLeast();
        clients_.remove_if([this](const Client& client) { return client.gone && (bury(client), true); });
    }

    void bury(const Client& client) {
        panel_->leave(client.user);
        ::close(client.fd);
    }

    void accept() {
        const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0 && clients_.size() == clientsMax)
            ::close(fd);
        else if (fd >= 0)
            clients_.push_back({fd, nextUser_++, {}, {}, {}});
    }

    static void receive(Client& client) {
        char bytes[4096];
        for (;;) {
            const ssize_t count = recv(client.fd, bytes, sizeof bytes, 0);
            if (count > 0)
                client.received.append(bytes, static_cast<size_t>(count));
            client.gone |=
                count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR) || client.received.size() > keysMax;
            if (count <= 0 || client.gone)
                return;
        }
    }

    /// One key at a time: what is read later stays behind it.
    void pressKeys(Client& client) {
        size_t done = 0;
        while (!client.waits && client.unsent.size() <= behindMax) {
            const size_t end = client.received.find('\n', done);
            if (end == std::string::npos) {
                client.gone |= client.received.size() - done > lineMax;
                break;
            }
            std::string line = client.received.substr(done, end - done);
            done = end + 1;
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (const char* const why = panel_->press(client.user, line); why != nullptr)
                client.unsent += "refused " + std::string(why) + '\n';
            else
                client.waits = true;
        }
        client.received.erase(0, done);
    }

    static void handOut(Client& client, const std::vector<PanelAnswer>& answers) {
        for (const PanelAnswer& answer : answers)
            if (client.user == answer.user) {
                client.unsent += "answer " + std::to_string(answer.bytes.size()) + '\n' + answer.bytes;
                client.waits = false;
            }
    }

    static void show(Client& client, const PanelPicture& picture) {
        if (client.unsent.size() > behindMax)
            return;
        for (const auto& [item, value] : picture)
            if (const auto shown = client.shown.find(item); shown == client.shown.end() || shown->second != value)
                client.unsent.append("show ").append(item).append(" ").append(value).append("\n");
        client.shown = picture;
        if (!client.greeted)
            client.unsent += "shown\n";
        client.greeted = true;
    }

    static void send(Client& client) {
        while (!client.unsent.empty() && !client.gone) {
            const ssize_t count = ::send(client.fd, client.unsent.data(), client.unsent.size(), MSG_NOSIGNAL);
            if (count < 0 && errno == EAGAIN)
                break;
            if (count < 0 && errno != EINTR)
                client.gone = true;
            else if (count > 0)
                client.unsent.erase(0, static_cast<size_t>(count));
        }
    }

    void endWhoReadsLeast() {
        size_t unsent = 0;
        Client* least = nullptr;
        for (Client& client : clients_) {
            unsent += client.gone ? 0 : client.unsent.size();
            if (!client.gone && (least == nullptr || client.unsent.size() > least->unsent.size()))
                least = &client;
        }
        if (unsent > unsentMax)
            least->gone = true;
    }

    FrontPanel* panel_;
    int listenFd_, newsFd_;
    int nextUser_ = 0;
    std::list<Client> clients_;
};

int listenAt(const std::string& path, int* error) {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    if (path.size() >= sizeof place.sun_path) {
        *error = ENAMETOOLONG;
        return -1;
    }
    memcpy(place.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0 && listen(fd, backlog) == 0)
        return fd;
    *error = errno;
    if (fd >= 0)
        close(fd);
    return -1;
}

} // namespace

int panelServer_start(FrontPanel* panel, const std::string& path) {
    int error = 0;
    const int listenFd = listenAt(path, &error);
    const int newsFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (listenFd < 0 || newsFd < 0)
        return error != 0 ? error : EMFILE;
    panel->onNews([newsFd] { eventfd_write(newsFd, 1); });
    std::thread([panel, listenFd, newsFd] { Server(panel, listenFd, newsFd).run(); }).detach();
    return 0;
}

} // namespace vi
