// What the soak prints: a line every ten seconds, a row for every round in a file, and the verdict.
#pragma once

#include "growth.h"
#include "round.h"
#include "sample.h"

#include <array>
#include <cstdio>
#include <memory>

namespace zorvan::devkit {

void printHeading();
void printLine(double seconds, const Work& work, const Sample& sample);

// Comma-separated values with a heading, one row for each round. Throws when the file cannot be written.
class RoundFile {
public:
    explicit RoundFile(const wchar_t* name);
    void add(double seconds, const Work& work, const Sample& sample);

private:
    void written(bool succeeded) const;

    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); } // every row was flushed
    };
    std::unique_ptr<std::FILE, Closer> file_;
};

// The growth of every figure, less what the system keeps for the ports.
class Verdict {
public:
    void add(double progress, const Work& work, const Sample& sample);

    // Whether there were rounds enough to tell.
    bool possible() const { return growth_.front().enough(); }
    // Prints how every figure went from quarter to quarter; whether none of them grew.
    bool print() const;

private:
    std::array<Growth, kFigures.size()> growth_;
};

} // namespace zorvan::devkit
