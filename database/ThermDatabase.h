// A loaded thermodynamic database as the host holds it: the application
// object, the data manager (elements, records, polynomials, texts, symbol
// functions) and, per phase, its Gibbs model, its phase object and its bound
// function list.  The TDB reader fills it; the evaluation and the tool use it.
#ifndef DATABASE_THERMDATABASE_H
#define DATABASE_THERMDATABASE_H

#include <memory>
#include <string>
#include <vector>

#include "database/SymbolExpressions.h"
#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "host/CVx_coreApp.h"
#include "thermfunctions/TThermFktMgr.h"

class ThermDatabase
{
public:
    struct PhaseRecord
    {
        std::unique_ptr<CVxGibbs> gibbs;          //!< constituent table of the phase
        std::unique_ptr<CVxPhase> phase;          //!< structure, site fractions, result arrays
        std::unique_ptr<TThermFktMgr> functions;  //!< the phase's parameters, named after the phase
    };

    CVx_coreApp app;                   //!< receives the kernel's messages
    CVxDataMgr dataMgr{&app};          //!< owns records, polynomials, texts, symbol functions
    std::vector<PhaseRecord> phases;   //!< in the order the database defines them (destroyed before dataMgr)

    double defaultTLow = 298.15;       //!< lower temperature limit of the database [K]
    double defaultTHigh = 6000.0;      //!< upper temperature limit of the database [K]
    //! true when the file gave no TEMPERATURE_LIMITS and the two above are the reader's defaults
    bool defaultTemperatureLimits = false;
    std::string sourceName;            //!< file the database was read from
    std::string sourceDigest;          //!< contentDigest() of the bytes it was read from ("" when built otherwise)
    SymbolExpressions expressions;     //!< symbols that are expression trees or undefined names

    ThermDatabase() = default;
    ThermDatabase(const ThermDatabase&) = delete;
    ThermDatabase& operator=(const ThermDatabase&) = delete;

    // Index of the phase named name (case-insensitive), -1 when unknown.
    int findPhase(const std::string& name) const;
    // Creates the Gibbs model, the phase and its function list (registered with the data manager).
    PhaseRecord& addPhase(const std::string& name);
    // The symbol-function list of the data manager.
    TThermFktMgr& symbols() { return *dataMgr.GetSymbolFktMgr(); }

    // The temperature step of the symbol functions: the power table of T,
    // then every symbol (pieces, trees, free symbols) in list order.  Phase
    // parameter lists are evaluated after it.
    void temperatureStep(double T, double P);
    // Gives a name the database uses without defining it the constant value
    // (upper or lower case); used from the next temperature step on, without
    // reading the database again.  False with error for any other name.
    bool setSymbolValue(const std::string& name, double value, std::string& error);
    // Why symbol s cannot be used after the last temperature step: a tree
    // with a domain error or a name without a value, among s and the symbols
    // it reads at that temperature; empty when it can.
    std::string refusalOfSymbol(int s);
    // Names without a value that the phase's parameters read in any range,
    // each once; empty when there are none.
    std::vector<std::string> unsetSymbolsUsedBy(int phaseIndex);
    //! Symbol positions of every name without a definition the phase's parameters read, set or not.
    std::vector<int> freeSymbolsUsedBy(int phaseIndex);
};

#endif
