#include "../core/contents.h"
#include "client.h"
#include "link_rig.h"
#include "links/link_thread.h"
#include "links/tvsocket.h"

#include <fcntl.h>
#include <linux/tcp.h>
#include <optional>

using namespace rig;

namespace {

constexpr int port = 18;

class SocketLink : public Rig {
protected:
    SocketLink() {
        Tvsocket_open(&socket_, &link_, port);
        door_ = std::thread([this] {
            while (!closed_)
                Tvsocket_listen(&socket_);
        });
        thread_ = std::thread([this] {
            while (!stop_)
                (void)link_visit(row_);
        });
        { const Client passing(port); }
        EXPECT_TRUE(reaches(lampOff, 1)) << "a client that connects and leaves at once raises both events";
        lampOn = lampOff = 0;
    }
    ~SocketLink() override {
        // A client gets each thread out of its wait. The door goes last: it lets in the one for the other thread.
        stop_ = true;
        { const Client last(port); }
        thread_.join();
        closed_ = true;
        { const Client last(port); }
        door_.join();
        Tvsocket_close(&socket_);
    }

    Tvsocket socket_;
    const LinkRow row_{.link = &link_,
                       .transport = &tcpTransport,
                       .medium = &socket_,
                       .connected = linkEventTcpConnected,
                       .gone = linkEventTcpGone};
    std::atomic<bool> stop_{false}, closed_{false};
    std::thread door_, thread_;
};

TEST_F(SocketLink, EventsFollowTheClientsAndASecondIsTurnedAwayAtOnce) {
    for (int i = 1; i <= 20; ++i) {
        Client first(port);
        ASSERT_EQ(first.connectError(), 0) << "right after the last one";
        ASSERT_TRUE(reaches(lampOn, i));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(Client(port).isReset());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_EQ(first.ask("*IDN?\n", identity.size()), identity);
        first.leave();
        ASSERT_TRUE(reaches(lampOff, i));
    }
}

TEST_F(SocketLink, WhoReturnsAtOnceIsServedHoweverTheVisitBeforeEnded) {
    const char* const wanted = getenv("VISITS");
    const int visits = wanted != nullptr ? atoi(wanted) : 3000;
    int answered = 0, sent = 0;
    for (int i = 0; i < visits; ++i) {
        Client client(port);
        ASSERT_EQ(client.connectError(), 0) << i;
        if (i % 3 == 0) { // says something and leaves
            ASSERT_TRUE(client.send("TOUC\nTOUC\n")) << i;
            sent += 2;
            continue;
        }
        ASSERT_TRUE(client.send("*IDN?\n")) << i;
        if (i % 3 == 1) // as a pipe does: no more to say, but all ears
            client.endSending();
        answered += client.read(identity.size()) == identity ? 1 : 0;
        ASSERT_TRUE(i % 3 == 2 || client.isClosedInOrder()) << i;
    }
    EXPECT_EQ(answered, visits - (visits + 2) / 3);
    EXPECT_TRUE(reaches(touched, sent));
    EXPECT_TRUE(reaches(lampOff, visits)) << "each has come and gone";
    EXPECT_EQ(touched, sent);
}

TEST_F(SocketLink, ManyWhoOnlySpeakStandInLineAndOneWhoStaysTurnsOthersAway) {
    constexpr int visits = 300; // more than the line holds
    deviceAccessMutex.lock();   // the main thread is at work elsewhere
    for (int i = 0; i < visits; ++i)
        EXPECT_TRUE(Client(port).send("TOUC\n")) << i;
    Client there(port);
    Client late(port);
    deviceAccessMutex.unlock();
    EXPECT_TRUE(late.isReset());
    EXPECT_EQ(there.ask("*IDN?\n", identity.size()), identity);
    EXPECT_EQ(touched, visits);
}

TEST_F(SocketLink, WhoClosedBehindMoreThanTheLinkHasReadKeepsNobodyOut) {
    std::string much;
    for (int i = 0; i < 100'000; ++i)
        much += "TOUC\n";
    ASSERT_TRUE(Client(port).send(much));
    EXPECT_EQ(Client(port).ask("*IDN?\n", identity.size()), identity);
    EXPECT_EQ(touched, 100'000);
}

TEST_F(SocketLink, TheLinkHearsOfAClientThatDiesOrHasToMakeRoomWhileItsThreadIsBlocked) {
    for (const bool dies : {true, false}) {
        lampOn = touched = 0;
        Client first(port);
        ASSERT_TRUE(reaches(lampOn, 1));
        std::optional<Client> next;
        {
            MutexLock busy(deviceAccessMutex); // as in a long wait
            EXPECT_TRUE(first.send("TOUC\n"));
            while (link_.handleRequest.get() == 0)
                std::this_thread::yield();
            EXPECT_TRUE(first.send("TOUC\nTOUC\n"));
            EXPECT_EQ(link_.clientGone, linkClientStays);
            if (dies)
                first.die();
            else
                first.endSending();
            next.emplace(port);
            const uint32_t expected = dies ? linkClientGone : linkClientMakesRoom;
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (link_.clientGone != expected && std::chrono::steady_clock::now() < end)
                std::this_thread::yield();
            EXPECT_EQ(link_.clientGone, expected);
        }
        EXPECT_EQ(next->ask("*IDN?\n", identity.size()), identity);
        EXPECT_EQ(touched, 3) << "what it had sent is carried out";
        EXPECT_EQ(link_.clientGone, linkClientStays);
        next->leave();
        ASSERT_TRUE(reaches(lampOff, 2));
        lampOff = 0;
    }
}

TEST_F(SocketLink, WhoDiesInAWaitWithMoreBehindItThanTheKernelTakesKeepsNobodyOut) {
    socket_.patienceForMuch_ns = 1'500'000'000;
    auto stuffed = std::make_unique<Client>(port);
    ASSERT_TRUE(reaches(lampOn, 1));
    std::optional<Client> next;
    {
        MutexLock busy(deviceAccessMutex); // as in a long wait
        EXPECT_TRUE(stuffed->send("TOUC\n"));
        while (link_.handleRequest.get() == 0)
            std::this_thread::yield();
        const std::string command = std::string(1000, ' ') + "TOUC\n";
        while (stuffed->sendsAtOnce(command)) {
        }
        stuffed.reset(); // its end stands behind all that
        next.emplace(port);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (link_.clientGone != linkClientMakesRoom && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        EXPECT_EQ(link_.clientGone, linkClientMakesRoom);
    }
    EXPECT_EQ(next->ask("*IDN?\n", identity.size()), identity);
}

TEST_F(SocketLink, ABlockOfManyBuffersArrivesWhole) {
    block.assign(3'000'000, '\0');
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<char>(i * 2654435761u >> 24);
    Client client(port);
    EXPECT_TRUE(client.send("BLO")); // and so does a command in pieces
    EXPECT_EQ(client.ask("C?\n*IDN?\n", 9 + block.size() + identity.size()),
              "#73000000" + block + std::string(identity));
}

TEST_F(SocketLink, TheNextClientGetsNothingOfWhatADeadOneLeft) {
    block.assign(8'000'000, 'b');
    for (const bool halfCommand : {false, true}) {
        lampOn = lampOff = 0;
        Client dying(port);
        ASSERT_TRUE(reaches(lampOn, 1));
        EXPECT_EQ(dying.ask(halfCommand ? "ECHO\n*IDN?\nTOUC" : "BLOC?\n", 1).size(), 1u);
        dying.die();
        ASSERT_TRUE(reaches(lampOff, 1));
        Client next(port);
        EXPECT_EQ(next.ask("NONE?\n*IDN?\n", identity.size()), identity)
            << "no echo of a query without an answer either";
        next.leave();
        ASSERT_TRUE(reaches(lampOff, 2));
    }
}

TEST_F(SocketLink, AClientThatNeverReadsHoldsUpNobodyElseAndCanBeDropped) {
    block.assign(16'000'000, 'b'); // more than the kernel buffers
    Client lazy(port);
    ASSERT_TRUE(reaches(lampOn, 1));
    EXPECT_EQ(lazy.ask("BLOC?\n", 1), "#"); // the answer is on its way
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(askOn(&other_, "*IDN?\n"), identity);
    Tvsocket_reset(&socket_);
    ASSERT_TRUE(reaches(lampOff, 1));
    EXPECT_TRUE(lazy.isDropped());
    EXPECT_EQ(Client(port).ask("*IDN?\n", identity.size()), identity);
}

TEST_F(SocketLink, AResetDropsTheClientWithTheCommandsThatAreOnTheirWay) {
    Client client(port);
    ASSERT_TRUE(reaches(lampOn, 1));
    {
        MutexLock busy(deviceAccessMutex); // the main thread is at work elsewhere
        EXPECT_TRUE(client.send("TOUC\n"));
        while (link_.handleRequest.get() == 0)
            std::this_thread::yield();
        EXPECT_TRUE(client.send("TOUC\n"));
        Tvsocket_reset(&socket_);
    }
    EXPECT_TRUE(client.isDropped());
    ASSERT_TRUE(reaches(lampOff, 1));
    EXPECT_EQ(touched, 1);
    Tvsocket_reset(&socket_); // without a client it does not meet the next one
    EXPECT_EQ(Client(port).ask("*IDN?\n", identity.size()), identity);
}

TEST_F(SocketLink, ResetsAtAnyMomentHitOnlyConnectionsOfThisLink) {
    // A descriptor that is closed on one thread while another resets it would sooner or later be the pipe's.
    std::atomic<bool> stop{false};
    std::thread resets([&] {
        while (!stop) {
            Tvsocket_reset(&socket_);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 300; ++i) {
        int other[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, other), 0);
        Client(port).ask("*IDN?\n", 1); // an answer or a drop
        ASSERT_EQ(::send(other[0], "x", 1, MSG_NOSIGNAL), 1) << "reset by mistake";
        close(other[0]);
        close(other[1]);
    }
    stop = true;
    resets.join();
    // Clients of the last resets may still be on their way out.
    std::string answer;
    while ((answer = Client(port).ask("*IDN?\n", identity.size())).size() != identity.size())
        std::this_thread::yield();
    EXPECT_EQ(answer, identity);
}

TEST_F(SocketLink, AnAnswerLeavesInOnePieceAndNoShellInheritsTheConnection) {
    Client client(port);
    EXPECT_EQ(client.ask("*IDN?\n", identity.size()), identity);
    int connection;
    {
        MutexLock lock(socket_.connMutex);
        connection = socket_.connFd;
    }
    EXPECT_NE(fcntl(connection, F_GETFD) & FD_CLOEXEC, 0);
    tcp_info before{}, after{};
    socklen_t size = sizeof before;
    ASSERT_EQ(getsockopt(connection, IPPROTO_TCP, TCP_INFO, &before, &size), 0);
    EXPECT_EQ(client.ask("*IDN?;*IDN?;*IDN?\n", 3 * identity.size()).size(), 3 * identity.size());
    ASSERT_EQ(getsockopt(connection, IPPROTO_TCP, TCP_INFO, &after, &size), 0);
    EXPECT_EQ(after.tcpi_data_segs_out - before.tcpi_data_segs_out, 1u);
}

TEST_F(SocketLink, ASettingIsAcknowledgedAtOnce) {
    // A client that gathers small writes sends the query only when the setting before it has been acknowledged; a
    // delayed acknowledgement, 40 ms, would make that the instrument's pace.
    Client client(port);
    constexpr int rounds = 50;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        EXPECT_TRUE(client.send("TOUC\n"));
        ASSERT_EQ(client.ask("*IDN?\n", identity.size()), identity);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, rounds * std::chrono::milliseconds(20));
    EXPECT_EQ(touched, rounds);
}

TEST(SocketPort, MovesUpWherePort18CannotBeHadAndIsRedirectedOnce) {
    Tvsocket first, second, third;
    Tvsocket_open(&first, nullptr, port);
    const std::string before = contents("/run/unit/calls.log");
    Tvsocket_open(&second, nullptr, port);
    EXPECT_GE(second.listenFd, 0);
    EXPECT_EQ(second.port, 2018);
    TvsocketCloseListenSocket(&second);
    TvsocketOpenListenSocket(&second);
    const std::string calls = contents("/run/unit/calls.log").substr(before.size());
    const std::string redirect = "-t nat -A PREROUTING -p tcp --dport 18 -j REDIRECT --to-ports 2018";
    EXPECT_NE(calls.find(redirect), std::string::npos) << calls;
    EXPECT_EQ(calls.find(redirect), calls.rfind(redirect)) << calls;
    Tvsocket_open(&third, nullptr, port);
    EXPECT_LT(third.listenFd, 0) << "taken as well";
    Tvsocket_close(&first);
    Tvsocket_close(&second);
}

} // namespace
