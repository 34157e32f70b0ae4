/// How accurate the library is: seeded random matrices, models and signals, and the collected
/// ones when ZEMRA_MODEL_DATA names them, solved by it and by an independent road. Every
/// difference is judged by the conditioning of its problem and the size of its data.
///
///     accuracy_survey [--short]
///
/// Writes the tables of docs/accuracy.md to standard output. Fails when a bound is broken.

#include <cstdio>
#include <iostream>
#include <string>

#include "tools/accuracy/surveys.h"
#include "zemra/message/message.h"

using namespace ZEMRA::Vibration;

int main(int argc, char** argv) {
    const bool brief = argc > 1 && std::string(argv[1]) == "--short";
    const auto extent = brief ? accuracy::Extent::kShort : accuracy::Extent::kWhole;
    // What the solvers announce; the surveys listen for what they need.
    Message::PushHandler([](const char*, unsigned char, void*) {}, 0, nullptr);
    accuracy::Table table;
    accuracy::SurveyEigenProblems(table, extent);
    accuracy::SurveySystems(table, extent);
    accuracy::SurveySignals(table, extent);
    Message::PopHandler();
    table.Print(std::cout);
    for (const std::string& line : table.Broken()) std::cerr << line << '\n';
    std::cerr << table.Cases() << " cases, " << table.Broken().size()
              << " beyond their bound\n";
    return table.Broken().empty() ? 0 : 1;
}
