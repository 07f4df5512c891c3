#include "controller/controller.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <iterator>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t READ_SIZE = 4096;
// A line that nobody holds open is not asked all the time.
constexpr milliseconds HUNG_UP_PAUSE(20);

bool has_input(const pollfd& polled) {
    return (polled.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

// Asking for input also waits for bytes that the kernel has not passed on yet.
bool is(short state, int fd) {
    pollfd polled = {fd, state, 0};
    return poll(&polled, 1, 0) > 0 && (polled.revents & state) != 0;
}

}  // namespace

std::string way(End from) {
    return std::string(name(from)) + " → " + name(other(from));
}

struct Controller::Line {
    Bytes queue;
    Splitter splitter;
    bool reading = true;
    Clock::time_point asleep_until{};
    bool handed_over = false;
};

ReadFile resource_reader(const WorldConfig& config) {
    return [resources = resources_for(config)](const std::string& name) {
        const auto file = resources.files.find(RESOURCES + name);
        const bool readable = file != resources.files.end() && (file->second.mode & S_IRUSR) != 0;
        return readable ? std::optional(file->second.content) : std::nullopt;
    };
}

std::string product_name(const WorldConfig& config) {
    return setting(resource_reader(config)(SETTINGS).value_or(""), "product_name");
}

Controller::Controller(const WorldConfig& config)
    : start_(Clock::now()),
      setup_(read_setup(resource_reader(config), config.options)),
      board_(setup_.mapping),
      host_(setup_.mapping, setup_.channel),
      world_(make_world(config)),
      serial_(std::make_unique<Line>()),
      midi_(std::make_unique<Line>()) {}

Controller::~Controller() = default;

milliseconds Controller::now() const {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start_);
}

void Controller::add(Event event) {
    event.time = now();
    if (has_value(event.bytes)) {
        using Find = const Control* (Mapping::*)(std::uint8_t, int) const;
        static constexpr Find FIND[][2] = {{&Mapping::seen_by_board, &Mapping::sent_by_board},
                                           {&Mapping::seen_by_host, &Mapping::sent_by_host}};
        const Find find = FIND[event.place == Place::Board ? 0 : 1][event.to_daemon ? 1 : 0];
        const Control* const control = (setup_.mapping.*find)(event.bytes[0], event.bytes[1]);
        event.control = control != nullptr ? control->index : -1;
    }
    events_.push_back(std::move(event));
}

void Controller::step(milliseconds timeout, const std::vector<int>& also) {
    const auto readable = [&](End end) {
        const Line& asked = line(end);
        return asked.handed_over || Clock::now() < asked.asleep_until ? -1 : fd(end);
    };
    const auto wanted = [&](End end) {
        return static_cast<short>((line(end).reading ? POLLIN : 0) |
                                  (line(end).queue.empty() ? 0 : POLLOUT));
    };
    std::vector<pollfd> polled = {{readable(End::Board), wanted(End::Board), 0},
                                  {readable(End::Host), wanted(End::Host), 0},
                                  {world_->platform_fd(), POLLIN, 0},
                                  {world_->log_fd(), POLLIN, 0},
                                  {world_->console_fd(), POLLIN, 0}};
    for (const int fd : also) {
        polled.push_back({fd, POLLIN, 0});
    }
    const bool ended = exit_status_.has_value();
    if (ended && machine() == nullptr) {  // their ends are all hung up
        polled[2].fd = polled[3].fd = polled[4].fd = -1;
    }
    poll(polled.data(), polled.size(), static_cast<int>(timeout.count()));
    constexpr End LINES[] = {End::Board, End::Host};
    for (std::size_t i = 0; i < std::size(LINES); ++i) {
        if (has_input(polled[i])) {
            read_line(LINES[i]);
        }
        if ((polled[i].revents & POLLOUT) != 0) {
            write_line(LINES[i]);
        }
    }
    if (has_input(polled[3])) {
        read_text(world_->log_fd(), Place::Log);
    }
    if (has_input(polled[4])) {
        read_text(world_->console_fd(), Place::Console);
    }
    if (has_input(polled[2])) {
        read_platform();
    }
    if (!ended) {
        notice_exit();
    }
}

// Returns whether there was something to read.
bool Controller::read_line(End end) {
    if (line(end).handed_over || !line(end).reading) {
        return false;
    }
    std::array<std::uint8_t, READ_SIZE> data;
    const ssize_t size = fd(end) < 0 ? 0 : read(fd(end), data.data(), data.size());
    if (size <= 0) {
        if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            line(end).asleep_until = Clock::now() + HUNG_UP_PAUSE;
        }
        return false;
    }
    for (Bytes& message : line(end).splitter.feed(data.data(), static_cast<std::size_t>(size))) {
        const std::vector<Bytes> answers =
            end == End::Board ? board_.receive(message) : std::vector<Bytes>();
        if (end == End::Host) {
            host_.receive(message);
        }
        const bool wants_pots = message.size() == 3 && !answers.empty();
        add({.place = at(end), .bytes = std::move(message), .wants_pots = wants_pots});
        if (!answers.empty() && answering_) {
            send(end, answers);
        }
    }
    return true;
}

bool Controller::read_text(int fd, Place place) {
    std::array<char, READ_SIZE> data;
    const ssize_t size = fd < 0 ? 0 : read(fd, data.data(), data.size());
    if (size <= 0) {
        return false;
    }
    if (place == Place::Console) {
        const Bytes written(data.data(), data.data() + size);
        screen_.write(written);
        add({.place = place, .bytes = written});
        return true;
    }
    log_rest_.append(data.data(), static_cast<std::size_t>(size));
    for (std::size_t eol = log_rest_.find('\n'); eol != std::string::npos;
         eol = log_rest_.find('\n')) {
        add({.place = place, .text = log_rest_.substr(0, eol)});
        log_rest_.erase(0, eol + 1);
    }
    return true;
}

void Controller::write_line(End end) {
    Bytes& queue = line(end).queue;
    const ssize_t size = queue.empty() ? 0 : write(fd(end), queue.data(), queue.size());
    if (size > 0) {
        queue.erase(queue.begin(), queue.begin() + size);
    }
}

void Controller::read_platform() {
    while (read_line(End::Board)) {
    }
    while (read_text(world_->log_fd(), Place::Log)) {
    }
    while (read_text(world_->console_fd(), Place::Console)) {
    }
    if (std::optional<std::string> call = world_->next_platform_call()) {
        add({.place = Place::Platform, .text = std::move(*call)});
        world_->answer_platform();
    }
}

void Controller::notice_exit() {
    const std::optional<int> status = world_->exit_status();
    if (!status) {
        return;
    }
    read_platform();
    read_line(End::Host);
    if (!log_rest_.empty()) {
        add({.place = Place::Log, .text = std::move(log_rest_)});
    }
    exit_status_ = status;
    add({.place = Place::World, .text = "exit status " + std::to_string(*status)});
}

bool Controller::send(End end, const Bytes& bytes) {
    return send(end, std::vector<Bytes>{bytes});
}

bool Controller::send(End end, const std::vector<Bytes>& messages) {
    if (fd(end) < 0) {
        return false;
    }
    Bytes& queue = line(end).queue;
    for (const Bytes& bytes : messages) {
        queue.insert(queue.end(), bytes.begin(), bytes.end());
        Splitter splitter;
        std::vector<Bytes> parts = splitter.feed(bytes.data(), bytes.size());
        if (!splitter.pending().empty()) {
            parts.push_back(splitter.pending());
        }
        for (Bytes& part : parts) {
            if (end == End::Board) {
                board_.sent(part);
            }
            add({.place = at(end), .to_daemon = true, .bytes = std::move(part)});
        }
    }
    write_line(end);
    return true;
}

bool Controller::send_part(End end, const Bytes& bytes) {
    if (fd(end) < 0) {
        return false;
    }
    Bytes& queue = line(end).queue;
    queue.insert(queue.end(), bytes.begin(), bytes.end());
    write_line(end);
    return true;
}

bool Controller::flushed(End end) const {
    return line(end).queue.empty();
}

void Controller::set_reading(End end, bool reading) {
    line(end).reading = reading;
}

bool Controller::taken(End end) const {
    return flushed(end) && !is(POLLIN, world_->far_fd(end));
}

bool Controller::full(End end) const {
    return !is(POLLOUT, world_->far_fd(end));
}

bool Controller::drained(End end) const {
    return !is(POLLIN, fd(end));
}

void Controller::end_unfinished(End end) {
    Splitter& splitter = line(end).splitter;
    if (!splitter.pending().empty()) {
        add({.place = at(end), .bytes = splitter.pending()});
        splitter = Splitter();
    }
}

int Controller::hand_over(End end) {
    line(end).handed_over = true;
    return fd(end);
}

void Controller::hang_up(End end) {
    read_line(end);
    world_->hang_up(end);
    line(end) = Line();
    add({.place = Place::World,
         .text = end == End::Board ? "serial line pulled" : "MIDI device pulled"});
}

}  // namespace bench
