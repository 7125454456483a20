#pragma once
// What a profile means to a person: one finding per result key of every test, in one table (its
// group, whether it is a problem, a warning or fine, the measured value and the threshold, what it
// means and what to try), and the overall verdict. A test that could not run is "not checked",
// with the reason the service gave. Every text comes from the strings table.

#include "host/report/Profile.h"

#include <QString>

#include <vector>

namespace report {

enum class Group { Device, CurrentNetwork, SelectedNetwork };
enum class Severity { Problem, Warning, Fine, NotChecked };
enum class Verdict { Good, Degraded, NotWorking, Incomplete };

struct Finding {
    Group group = Group::Device;
    QString key;    // the result key the finding reads ("hasPoorSignal")
    QString title;  // the test, in words ("Signal strength")
    Severity severity = Severity::Fine;
    QString value;      // what was measured, in words ("-81 dBm"); empty when the key is a bare flag
    QString threshold;  // the rule ("a problem below -75 dBm"); empty when there is none
    QString meaning;    // one sentence: what this finding means
    QString advice;     // one sentence: what to try; empty when fine
    QString reason;     // not checked: the service's error as it was logged
};

struct Findings {
    std::vector<Finding> items;  // in the table's order, group by group
    Verdict verdict = Verdict::Incomplete;
    int count(Severity severity) const;
};

Findings findingsOf(const Profile& profile);

QString groupName(Group group);  // in words, from the strings table
QString severityName(Severity severity);
QString verdictName(Verdict verdict);
QString verdictSentence(Verdict verdict);  // one sentence for a person

}  // namespace report
