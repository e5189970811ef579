#pragma once

#include "l10n/StringKey.h"
#include "platform/Outcome.h"

// Why a self-update step failed, in the terms the user is told.
enum class UpdateProblem {
    None,
    Configuration,  // no usable appcast address or key in this build
    Network,        // the appcast could not be fetched
    Feed,           // the appcast is not a usable document
    Transfer,       // the package did not arrive
    Length,         // the package's size differs from the appcast's
    Signature,      // the package is not signed by the configured key
    Storage,        // the package could not be written into Downloads
    PackageMissing, // the verified package has gone from Downloads
    Cancelled,
};

// What the user reads about `problem`, in both languages.
StringKey userMessage(UpdateProblem problem);

// An outcome with the kind of failure it was.
struct UpdateOutcome
{
    UpdateProblem problem = UpdateProblem::None;
    Outcome outcome;

    bool ok() const { return problem == UpdateProblem::None; }
    static UpdateOutcome success() { return {}; }
    static UpdateOutcome failure(UpdateProblem problem, const QString &detail)
    {
        return {problem, Outcome::failure(detail)};
    }
};
