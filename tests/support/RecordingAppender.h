/// A log4cplus appender that keeps its records, for tests that look at what is logged.
#ifndef KIV_TESTS_RECORDINGAPPENDER_H
#define KIV_TESTS_RECORDINGAPPENDER_H

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

struct LogRecord
{
    log4cplus::LogLevel level;
    std::string text;
    std::string file;
    int line;
    std::string function;
    std::string thread;
};

/// Records everything from TRACE on that a logger receives while the recorder lives.
class LogRecorder
{
public:
    explicit LogRecorder(log4cplus::Logger recorded) : logger(std::move(recorded)), previous(logger.getLogLevel())
    {
        logger.addAppender(log4cplus::SharedAppenderPtr(appender.get()));
        logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    }

    ~LogRecorder()
    {
        logger.removeAppender(log4cplus::SharedAppenderPtr(appender.get()));
        logger.setLogLevel(previous);
    }

    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<LogRecord> records() const
    {
        const std::lock_guard<std::mutex> guard(appender->mutex);
        return appender->kept;
    }

    std::vector<std::string> texts() const
    {
        std::vector<std::string> all;
        for (const LogRecord& record : records())
            all.push_back(record.text);
        return all;
    }

private:
    struct Appender : log4cplus::Appender
    {
        ~Appender() override { destructorImpl(); }
        void close() override {}
        void append(const log4cplus::spi::InternalLoggingEvent& event) override
        {
            const std::lock_guard<std::mutex> guard(mutex);
            kept.push_back({event.getLogLevel(), event.getMessage(), event.getFile(), event.getLine(),
                            event.getFunction(), event.getThread()});
        }

        mutable std::mutex mutex;
        std::vector<LogRecord> kept;
    };

    log4cplus::Logger logger;
    log4cplus::LogLevel previous;
    log4cplus::helpers::SharedObjectPtr<Appender> appender{new Appender};
};

#endif
