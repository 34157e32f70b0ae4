#pragma once

#include <string>
#include <vector>

#include "tools/zemra/arguments.h"
#include "tools/zemra/model.h"
#include "tools/zemra/modes.h"

namespace Tool {

/// What the commands on a model start from: the file as the command line changes it.
ModelFile ReadModel(const Arguments& arguments);

/// The channels that an option names, by name or number from 0; all when it names none. Throws
/// BadInput.
std::vector<std::size_t> Select(const std::string& option,
                                const std::vector<std::string>& wanted,
                                const std::vector<Channel>& channels);

/// The frequencies of the command line, else of the model file, else around all modes.
Grid ModelGrid(const Arguments& arguments, const ModelFile& model, int points);

/// The model in the form that the command line asks for, else the given one. Selected modes ask
/// for the modal form.
Model MakeModel(const Arguments& arguments, const ModelFile& model, const Actuators& actuators,
                const char* form);

/// Throws BadInput for a mode beyond the last.
void CheckModeNumbers(const ModelFile& model, const std::vector<Mode>& modes);

/// Gives each input without a density the white one of the command line. Throws BadInput when
/// one has neither a density nor, with a band to spread it over, an amplitude.
void CompleteDensities(const Arguments& arguments, ModelFile& model);

/// Throws BadInput where a density is not finite (a road at 0 Hz) or a cross density is larger
/// than its inputs' densities allow at one of the frequencies (Hz). Remarks on frequencies that
/// a table does not cover.
void CheckDensities(const ModelFile& model, const std::vector<double>& hertz,
                    Messages& messages);

}  // namespace Tool
