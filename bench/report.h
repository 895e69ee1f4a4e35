// What the bench has measured: a table, and the same for machines.
#pragma once

#include "measure.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace zorvan::bench {

struct Goal {
    enum class Kind { None, AtMost, AtLeast };
    Kind kind = Kind::None;
    double value = 0;

    bool reachedBy(double measured) const;
};
inline constexpr Goal kNoGoal{};
constexpr Goal atMost(double value) {
    return {Goal::Kind::AtMost, value};
}
constexpr Goal atLeast(double value) {
    return {Goal::Kind::AtLeast, value};
}

// The unit of a ratio; every other unit is one that things are measured in.
inline constexpr char kTimes[] = "times";

struct Row {
    std::string name;
    Goal goal;
    Spread figures;
    std::string unit;
    std::string beside; // what it was measured beside
};

// A ratio of times; beside names the other side, whose own time is told, too.
Row ratioRow(
    const std::string& name, const Goal& goal, const Series& side, const Series& beside,
    const std::string& besideName);

void to_json(nlohmann::json& json, const Row& row);
void from_json(const nlohmann::json& json, Row& row);

// Rows that another program of the bench has measured. Both throw when the file cannot be written or read.
void writeRows(const std::string& path, const std::vector<Row>& rows);
std::vector<Row> readRows(const std::string& path);

// As people write them: "78.2 us".
std::string duration(double seconds);

class Report {
public:
    // Prints the table's heading.
    Report();

    // Prints the row.
    void add(Row row);

    // See ratioRow.
    void addRatio(
        const std::string& name, const Goal& goal, const Series& side, const Series& beside,
        const std::string& besideName) {
        add(ratioRow(name, goal, side, beside, besideName));
    }

    // Says how many goals were missed.
    void printEnd() const;

    // Throw when the file cannot be written.
    void writeJson(const std::string& path) const;
    // For plot.gp, which says what a line holds.
    void writePlotData(const std::string& path) const;

private:
    std::string machine_;
    std::vector<Row> rows_;
};

} // namespace zorvan::bench
