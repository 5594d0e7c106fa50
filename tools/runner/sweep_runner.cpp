#include "runner/sweep_runner.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <type_traits>
#include <utility>

namespace custsim {

namespace {

// Exit status of a worker that failed inside (its reason is on standard error).
constexpr int kWorkerFailed = 3;
// How much a worker writes to its pipe at once, and the parent reads: a pipe's capacity.
constexpr size_t kPipeChunk = 64 * 1024;
// The length of a record, of each output's part and of a text in it: 64 bits, so that a point of
// any size (a huge name, many warnings) travels whole whatever the number of workers.
using RecordLength = uint64_t;

// Points travel from a worker to the parent as length-prefixed records of plain fields, in the
// machine's own byte order (both ends are the same program on the same machine).
class Encoder {
public:
    explicit Encoder(std::string& bytes) : mBytes(bytes) {}
    template <typename T>
    void put(T value) {
        static_assert(std::is_trivially_copyable_v<T>);
        mBytes.append(reinterpret_cast<const char*>(&value), sizeof(T));
    }
    void put(const std::string& text) {
        put(static_cast<RecordLength>(text.size()));
        mBytes += text;
    }
    // A length to be filled in once what it counts has been appended.
    size_t reserveLength() {
        put(RecordLength{0});
        return mBytes.size();
    }
    void fillLength(size_t from) {
        const auto length = static_cast<RecordLength>(mBytes.size() - from);
        std::memcpy(mBytes.data() + from - sizeof(length), &length, sizeof(length));
    }

private:
    std::string& mBytes;
};

class Decoder {
public:
    explicit Decoder(std::string_view bytes) : mBytes(bytes) {}
    template <typename T>
    T get() {
        T value{};
        if (mBytes.size() - mAt < sizeof(T)) {
            mBad = true;
            return value;
        }
        std::memcpy(&value, mBytes.data() + mAt, sizeof(T));
        mAt += sizeof(T);
        return value;
    }
    std::string_view bytes() {
        const auto size = get<RecordLength>();
        if (mBad || mBytes.size() - mAt < size) {
            mBad = true;
            return {};
        }
        const std::string_view value = mBytes.substr(mAt, size);
        mAt += size;
        return value;
    }
    std::string text() { return std::string(bytes()); }
    bool bad() const { return mBad; }
    bool ok() const { return !mBad && mAt == mBytes.size(); }

private:
    std::string_view mBytes;
    size_t mAt = 0;
    bool mBad = false;
};

}  // namespace

void encodeRecord(const std::vector<SweepOutput*>& outputs, const SweepPoint& point,
                  std::string& bytes) {
    Encoder out(bytes);
    const size_t record = out.reserveLength();
    out.put(point.index);
    for (const SweepOutput* output : outputs) {
        const size_t part = out.reserveLength();
        output->encode(point, bytes);
        out.fillLength(part);
    }
    out.fillLength(record);
}

bool writeRecord(const std::vector<SweepOutput*>& outputs, std::string_view record,
                 uint64_t expected) {
    Decoder in(record);
    if (in.get<uint64_t>() != expected) return false;
    for (SweepOutput* output : outputs) {
        const std::string_view part = in.bytes();
        if (in.bad() || !output->write(expected, part)) return false;
    }
    return in.ok();
}

namespace {

bool writeAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Buffered reading of one worker's records.
class RecordReader {
public:
    explicit RecordReader(int fd) : mFd(fd) {}
    // The next record, valid until the next call. False at the end of the stream or on a read
    // error.
    bool next(std::string_view& record) {
        RecordLength length = 0;
        if (!fill(sizeof(length))) return false;
        std::memcpy(&length, mBuffer.data() + mAt, sizeof(length));
        if (!fill(sizeof(length) + length)) return false;
        record = std::string_view(mBuffer).substr(mAt + sizeof(length), length);
        mAt += sizeof(length) + length;
        return true;
    }

private:
    bool fill(size_t needed) {
        if (mAt > 0 && mBuffer.size() - mAt < needed) {
            mBuffer.erase(0, mAt);
            mAt = 0;
        }
        char chunk[kPipeChunk];
        while (mBuffer.size() - mAt < needed) {
            const ssize_t n = read(mFd, chunk, sizeof(chunk));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            mBuffer.append(chunk, static_cast<size_t>(n));
        }
        return true;
    }

    int mFd;
    std::string mBuffer;
    size_t mAt = 0;
};

// The body of worker `worker` of `jobs`: every jobs-th point from its own, its records written to
// `fd` a pipe's worth at a time.
[[noreturn]] void workerMain(HostSession& host, const SweepSpec& sweep,
                             const std::vector<SweepOutput*>& outputs, unsigned worker,
                             unsigned jobs, int fd) {
    try {
        Simulator simulator(host);
        configureForSweep(simulator);
        std::string pending;
        for (uint64_t index = worker; index < sweep.points; index += jobs) {
            encodeRecord(outputs, runSweepPoint(simulator, sweep, index), pending);
            if (pending.size() < kPipeChunk) continue;
            if (!writeAll(fd, pending)) _exit(kWorkerFailed);
            pending.clear();
        }
        if (!writeAll(fd, pending)) _exit(kWorkerFailed);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "custpolicy: sweep worker %u: out of memory\n", worker + 1);
        _exit(kWorkerFailed);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "custpolicy: sweep worker %u: %s\n", worker + 1, e.what());
        _exit(kWorkerFailed);
    } catch (...) {
        _exit(kWorkerFailed);
    }
    close(fd);
    _exit(0);
}

// The worker processes of one run. Whatever happens in the parent, they are ended and reaped.
class Workers {
public:
    ~Workers() {
        for (Worker& worker : mWorkers) {
            if (worker.fd >= 0) close(worker.fd);
            if (worker.pid > 0) {
                kill(worker.pid, SIGTERM);
                waitpid(worker.pid, nullptr, 0);
            }
        }
    }

    bool start(HostSession& host, const SweepSpec& sweep, const std::vector<SweepOutput*>& outputs,
               unsigned jobs, std::string& error) {
        // Whatever the parent has buffered must not be written again by a child.
        std::fflush(nullptr);
        for (unsigned k = 0; k < jobs; ++k) {
            int fds[2];
            if (pipe(fds) != 0) {
                error = std::string("cannot create a pipe: ") + std::strerror(errno);
                return false;
            }
            const pid_t pid = fork();
            if (pid < 0) {
                error = std::string("cannot start a worker: ") + std::strerror(errno);
                close(fds[0]);
                close(fds[1]);
                return false;
            }
            if (pid == 0) {
                close(fds[0]);
                for (const Worker& earlier : mWorkers) close(earlier.fd);
                workerMain(host, sweep, outputs, k, jobs, fds[1]);
            }
            close(fds[1]);
            mWorkers.push_back({pid, fds[0], RecordReader(fds[0])});
        }
        return true;
    }

    bool next(unsigned worker, std::string_view& record) {
        return mWorkers[worker].reader.next(record);
    }

    // Waits for every worker; false with `error` naming the first that did not end well.
    bool finish(std::string& error) {
        bool ok = true;
        for (size_t k = 0; k < mWorkers.size(); ++k) {
            Worker& worker = mWorkers[k];
            close(worker.fd);
            worker.fd = -1;
            int status = 0;
            waitpid(worker.pid, &status, 0);
            worker.pid = 0;
            if (ok && !(WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
                error = describe(k, status);
                ok = false;
            }
        }
        return ok;
    }

    // Ends the workers after one stopped early, and says which and how.
    std::string failure(unsigned worker, uint64_t point) {
        Worker& failed = mWorkers[worker];
        int status = 0;
        close(failed.fd);
        failed.fd = -1;
        waitpid(failed.pid, &status, 0);
        failed.pid = 0;
        return describe(worker, status) + " before point " + std::to_string(point);
    }

private:
    struct Worker {
        pid_t pid;
        int fd;
        RecordReader reader;
    };

    static std::string describe(size_t worker, int status) {
        std::string text = "sweep worker " + std::to_string(worker + 1);
        if (WIFSIGNALED(status))
            return text + " was killed by signal " + std::to_string(WTERMSIG(status)) + " (" +
                   strsignal(WTERMSIG(status)) + ")";
        return text + " stopped with exit status " + std::to_string(WEXITSTATUS(status));
    }

    std::vector<Worker> mWorkers;
};

void runInProcess(HostSession& host, const SweepSpec& sweep,
                  const std::vector<SweepOutput*>& outputs, const SweepProgress& progress) {
    Simulator simulator(host);
    configureForSweep(simulator);
    std::string bytes;
    for (uint64_t index = 0; index < sweep.points; ++index) {
        const SweepPoint point = runSweepPoint(simulator, sweep, index);
        for (SweepOutput* output : outputs) {
            bytes.clear();
            output->encode(point, bytes);
            output->write(index, bytes);
        }
        progress(index + 1);
    }
}

}  // namespace

namespace {

void putRow(Encoder& out, const std::optional<MatchedRow>& row) {
    out.put(row.has_value());
    if (!row) return;
    out.put(row->table);
    out.put(row->locale);
    out.put(row->key);
    out.put(row->file);
    out.put(row->line);
}

std::optional<MatchedRow> getRow(Decoder& in) {
    if (!in.get<bool>()) return std::nullopt;
    MatchedRow row;
    row.table = in.text();
    row.locale = in.text();
    row.key = in.text();
    row.file = in.text();
    row.line = in.get<int32_t>();
    return row;
}

void putSize(Encoder& out, MSize size) {
    out.put(size.w);
    out.put(size.h);
}

MSize getSize(Decoder& in) {
    MSize size;
    size.w = in.get<int32_t>();
    size.h = in.get<int32_t>();
    return size;
}

template <typename T>
void putOptional(Encoder& out, const std::optional<T>& value) {
    out.put(value.has_value());
    if (value) out.put(*value);
}

template <typename T>
std::optional<T> getOptional(Decoder& in) {
    if (!in.get<bool>()) return std::nullopt;
    return in.get<T>();
}

void putWarnings(Encoder& out, const std::vector<Warning>& warnings) {
    out.put(static_cast<uint32_t>(warnings.size()));
    for (const Warning& warning : warnings) {
        out.put(warning.code);
        out.put(warning.message);
    }
}

void getWarnings(Decoder& in, std::vector<Warning>& warnings) {
    const auto count = in.get<uint32_t>();
    for (uint32_t i = 0; i < count && !in.bad(); ++i) {
        Warning warning;
        warning.code = in.text();
        warning.message = in.text();
        warnings.push_back(std::move(warning));
    }
}

// Every field of a Decision but the RRZO message, which no sweep output reads.
void putDecision(Encoder& out, const Decision& d) {
    out.put(d.sensorIdx);
    out.put(d.sensorName);
    out.put(d.newSettingPolicy);
    out.put(d.newRrzoPolicy);
    out.put(static_cast<uint8_t>(d.result));
    out.put(static_cast<uint8_t>(d.path));
    out.put(d.byEngineerTraversal);
    out.put(d.record.sensorMode);
    out.put(d.record.sensorFps);
    putSize(out, d.record.sensorSize);
    out.put(d.record.rawFmtType);
    putOptional(out, d.namedScenario);
    out.put(d.notFilledReason);
    out.put(d.seamlessFlagsBefore);
    out.put(d.seamlessFlags);
    putOptional(out, d.seamlessScenario);
    putSize(out, d.rrzoRequested);
    putSize(out, d.rrzoSensorSize);
    putSize(out, d.rrzoSize);
    putOptional(out, d.fallbackScenario);
    putRow(out, d.row);
    putRow(out, d.rrzoRow);
    out.put(d.message.has_value());
    if (d.message) {
        out.put(d.message->priority);
        out.put(d.message->tag);
        out.put(d.message->text);
    }
    out.put(d.messageIsLast);
    out.put(d.explanation);
    putWarnings(out, d.warnings);
    out.put(static_cast<uint32_t>(d.overridden.size()));
    for (const OverriddenRow& overridden : d.overridden) {
        putRow(out, overridden.row);
        out.put(static_cast<uint8_t>(overridden.by));
    }
}

// An enumerator sent as its number; false when the number is none of them.
template <typename Enum>
bool getEnum(Decoder& in, Enum last, Enum& value) {
    const auto raw = in.get<uint8_t>();
    value = static_cast<Enum>(raw);
    return raw <= static_cast<uint8_t>(last);
}

bool getDecision(Decoder& in, Decision& d) {
    d.sensorIdx = in.get<int32_t>();
    d.sensorName = in.text();
    d.newSettingPolicy = in.get<bool>();
    d.newRrzoPolicy = in.get<bool>();
    if (!getEnum(in, DecisionResult::None, d.result)) return false;
    if (!getEnum(in, PolicyPath::HalFallback, d.path)) return false;
    d.byEngineerTraversal = in.get<bool>();
    d.record.sensorMode = in.get<uint32_t>();
    d.record.sensorFps = in.get<uint32_t>();
    d.record.sensorSize = getSize(in);
    d.record.rawFmtType = in.get<uint32_t>();
    d.namedScenario = getOptional<int32_t>(in);
    d.notFilledReason = in.text();
    d.seamlessFlagsBefore = in.get<uint32_t>();
    d.seamlessFlags = in.get<uint32_t>();
    d.seamlessScenario = getOptional<uint32_t>(in);
    d.rrzoRequested = getSize(in);
    d.rrzoSensorSize = getSize(in);
    d.rrzoSize = getSize(in);
    d.fallbackScenario = getOptional<int32_t>(in);
    d.row = getRow(in);
    d.rrzoRow = getRow(in);
    if (in.get<bool>()) {
        LogLine line;
        line.priority = in.get<int32_t>();
        line.tag = in.text();
        line.text = in.text();
        d.message = std::move(line);
    }
    d.messageIsLast = in.get<bool>();
    d.explanation = in.text();
    getWarnings(in, d.warnings);
    const auto overridden = in.get<uint32_t>();
    for (uint32_t i = 0; i < overridden && !in.bad(); ++i) {
        OverriddenRow row;
        row.row = getRow(in).value_or(MatchedRow());
        if (!getEnum(in, PolicyPath::HalFallback, row.by)) return false;
        d.overridden.push_back(std::move(row));
    }
    return !in.bad();
}

}  // namespace

void encodePoint(const SweepPoint& point, std::string& bytes) {
    Encoder out(bytes);
    out.put(point.index);
    putWarnings(out, point.sessionWarnings);
    out.put(static_cast<uint32_t>(point.sensors.size()));
    for (const Decision& decision : point.sensors) putDecision(out, decision);
}

bool decodePoint(std::string_view bytes, SweepPoint& point) {
    Decoder in(bytes);
    point.index = in.get<uint64_t>();
    point.sessionWarnings.clear();
    getWarnings(in, point.sessionWarnings);
    const auto sensors = in.get<uint32_t>();
    point.sensors.clear();
    for (uint32_t i = 0; i < sensors && !in.bad(); ++i) {
        Decision decision;
        if (!getDecision(in, decision)) return false;
        point.sensors.push_back(std::move(decision));
    }
    return in.ok();
}

void configureForSweep(Simulator& simulator) {
    simulator.setUnifiedLog(false);
    simulator.setTrace(false);
}

int32_t sweepMode(const Decision& decision) {
    return decision.chosen() ? static_cast<int32_t>(decision.record.sensorMode) : -1;
}

std::string decisionMessage(const Decision& decision) {
    return decision.message ? logcatLine(*decision.message) : std::string();
}

std::vector<std::string> pointWarnings(const SweepPoint& point, const Decision& decision) {
    std::vector<std::string> texts;
    for (const auto* list : {&point.sessionWarnings, &decision.warnings}) {
        for (const Warning& warning : *list) texts.push_back(warning.code + ": " + warning.message);
    }
    return texts;
}

SweepPoint runSweepPoint(Simulator& simulator, const SweepSpec& sweep, uint64_t index) {
    const SessionSpec session = sweep.sessionAt(index);
    SessionRun run = simulator.run(session);
    SweepPoint point;
    point.index = index;
    point.sensors = std::move(run.sensors);
    point.sessionWarnings = std::move(run.warnings);
    return point;
}

bool runSweep(HostSession& host, const SweepSpec& sweep, unsigned jobs,
              const std::vector<SweepOutput*>& outputs, const SweepProgress& progress,
              std::string& error) {
    if (jobs <= 1 || sweep.points <= 1) {
        runInProcess(host, sweep, outputs, progress);
        return true;
    }
    if (jobs > sweep.points) jobs = static_cast<unsigned>(sweep.points);
    Workers workers;
    if (!workers.start(host, sweep, outputs, jobs, error)) return false;
    std::string_view record;
    for (uint64_t index = 0; index < sweep.points; ++index) {
        const auto worker = static_cast<unsigned>(index % jobs);
        if (!workers.next(worker, record)) {
            error = workers.failure(worker, index);
            return false;
        }
        if (!writeRecord(outputs, record, index)) {
            error = "sweep worker " + std::to_string(worker + 1) +
                    " sent a garbled record for point " + std::to_string(index);
            return false;
        }
        progress(index + 1);
    }
    return workers.finish(error);
}

}  // namespace custsim
