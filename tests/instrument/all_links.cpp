/// Clients on all links of one instrument at once, in random order: each has a setting that it alone changes, so that
/// an answer tells whose it is and behind which of its commands it was given.
///
///   all_links COMMANDS SEED PORT PANEL CONSOLE LOG     commands in all; the instrument's TCP port, its panel's socket,
///                                                      the descriptor of its console's keys and the file that it
///                                                      prints to
///
/// The unit must run in real time. Prints the commands per second. Ends with 1 at the first answer that is wrong.

#include "ways.h"

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace {

/// The setting of a link; what it answers to its query is the number and `suffix`.
struct Own {
    const char *name, *header, *suffix;
};
constexpr Own owns[] = {
    {"TCP", ":SENS:PN:AVER", ""},
    {"VXI-11 A", ":SENS:PN:CORR", ""},
    {"VXI-11 B", ":SENS:VCO:VOLT:POIN", ""},
    {"USB", ":SENS:PN:PPD", ""},
    {"GPIB", ":*ESE", ""},
    {"panel", ":*SRE", ""},
    {"console", ":SENS:PN:FREQ:SPOT", ".000000000"},
};
constexpr int ownMin = 20, ownMax = 120;

constexpr const char* longRun = ":SENS:PN:FREQ:STAR 1;STOP 1e6;:INIT"; // minutes in real time
constexpr const char* untilItsEnd = ":CALC:WAIT:AVER ALL,600000";
constexpr size_t messageMax = 200, batchMax = 600, answerMax = 800; // bytes: of a message, and of a client's batch

std::string identity, block; // what *IDN? answers, and the query of a block
std::atomic<bool> runs{false};
std::atomic<bool> failed{false};
std::atomic<uint64_t> aborts{0};

class LinkClient {
public:
    LinkClient(const Own& own, std::unique_ptr<Way> way, unsigned seed)
        : own_(own), way_(std::move(way)), random_(seed) {}

    void expect(Messages messages) {
        std::string expected;
        for (const Message& message : messages)
            expected += message.answer;
        if (const std::string answers = way_->converse(messages); answers != expected && !failed.exchange(true)) {
            fprintf(stderr, "%s: answers\n%s\nin place of\n%s\n", own_.name, answers.c_str(), expected.c_str());
        }
    }

    /// Ends the run that is on, and waits for that.
    void abortRun() {
        expect({{std::string(":ABOR;") + untilItsEnd + ";:*OPC?\n", "1\n"}});
        ++aborts;
    }

    /// Commands until `left` is used up.
    void work(std::atomic<int64_t>& left) {
        set(ownMin);
        while (left > 0 && !failed) {
            left -= converse();
            switch (upTo(50)) {
            case 0: way_->comeAgain(); break;
            case 1:
                if (runs.exchange(false))
                    abortRun();
                break;
            case 2: // whoever started the last one has seen it begin
                if (!starting_.exchange(true)) {
                    if (!runs)
                        expect({{std::string(longRun) + ";:*OPC?\n", "1\n"}});
                    runs = true;
                    starting_ = false;
                }
                break;
            default: break;
            }
        }
    }

private:
    int upTo(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }

    void set(int value) {
        value_ = value;
        expect({{std::string(own_.header) + ' ' + std::to_string(value_) + ";:*OPC?\n", "1\n"}});
    }

    /// One unit; its answer joins the message's.
    void add(Message* message) {
        std::string text, answer;
        switch (upTo(8)) {
        case 0:
        case 1:
            value_ = ownMin + upTo(ownMax - ownMin);
            text = own_.header + (' ' + std::to_string(value_));
            break;
        case 2: text = ":*IDN?", answer = identity; break;
        case 3: text = ":*OPC?", answer = "1"; break;
        case 4: text = ":SYST:VERS?", answer = "1999.0"; break;
        default: text = std::string(own_.header) + '?'; answer = std::to_string(value_) + own_.suffix;
        }
        message->text.append(message->text.empty() ? "" : ";").append(text);
        if (!answer.empty())
            message->answer.append(message->answer.empty() ? "" : ";").append(answer);
    }

    /// A batch of messages, the last of which answers. Returns the number of commands.
    int converse() {
        Messages messages;
        int commands = 0;
        for (size_t bytes = 0, answers = 0; bytes < batchMax && answers < answerMax;) {
            Message& message = messages.emplace_back();
            const int units = 1 + upTo(8);
            for (int i = 0; i < units && message.text.size() < messageMax && message.answer.size() < messageMax; ++i) {
                add(&message);
                ++commands;
            }
            message.text += '\n';
            message.answer += message.answer.empty() ? "" : "\n";
            bytes += message.text.size();
            answers += message.answer.size();
        }
        messages.push_back({"*OPC?\n", "1\n"});
        if (upTo(4) == 0)
            messages.push_back({":MEM:RAM:TEST:DATA?\n", block});
        expect(std::move(messages));
        return commands + 1;
    }

    const Own& own_;
    std::unique_ptr<Way> way_;
    std::mt19937 random_;
    int value_ = 0;
    static inline std::atomic<bool> starting_{false};
};

/// What is the same for all of them.
void learnAnswers(int port) {
    const int fd = connectTo(port);
    sendAll(fd, "*IDN?\n");
    for (char c = 0; c != '\n'; receiveAll(fd, &c, 1))
        identity.append(c != 0, c);
    sendAll(fd, ":MEM:RAM:TEST:DATA?\n");
    std::array<char, 2> head{};
    receiveAll(fd, head.data(), head.size());
    std::string size(static_cast<size_t>(head[1] - '0'), '\0');
    receiveAll(fd, size.data(), size.size());
    std::string data(std::stoul(size), '\0');
    receiveAll(fd, data.data(), data.size());
    block.append(head.data(), head.size()).append(size).append(data);
    close(fd);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 7)
        return 2;
    const int64_t commands = atoll(argv[1]);
    const auto seed = static_cast<unsigned>(atoi(argv[2]));
    const int port = atoi(argv[3]);
    learnAnswers(port);
    std::vector<std::unique_ptr<Way>> ways;
    ways.push_back(std::make_unique<TcpWay>(port));
    ways.push_back(std::make_unique<VxiWay>());
    ways.push_back(std::make_unique<VxiWay>());
    ways.push_back(std::make_unique<UsbWay>());
    ways.push_back(std::make_unique<GpibWay>());
    ways.push_back(std::make_unique<PanelWay>(argv[4]));
    ways.push_back(std::make_unique<ConsoleWay>(atoi(argv[5]), argv[6]));
    std::vector<std::unique_ptr<LinkClient>> clients;
    for (size_t i = 0; i < ways.size(); ++i)
        clients.push_back(
            std::make_unique<LinkClient>(owns[i], std::move(ways[i]), seed * 16 + static_cast<unsigned>(i)));

    for (const auto& client : clients) { // each ends a run of another
        clients.front()->expect({{std::string(longRun) + ";:*OPC?\n", "1\n"}});
        client->abortRun();
    }
    std::atomic<int64_t> left{commands};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (const auto& client : clients)
        threads.emplace_back([&client, &left] { client->work(left); });
    for (std::thread& thread : threads)
        thread.join();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    clients.front()->abortRun();
    printf("%lld commands in %.1f s, %.0f /s; %llu runs aborted\n", static_cast<long long>(commands - left), seconds,
           static_cast<double>(commands - left) / seconds, static_cast<unsigned long long>(aborts));
    return failed ? 1 : 0;
}
