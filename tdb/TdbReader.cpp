#include "TdbReader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <unordered_map>

#include "ArrayGrowth.h"
#include "AsciiText.h"
#include "NameTable.h"
#include "TdbCommandFeeds.h"
#include "TdbDuplicates.h"
#include "TdbExpression.h"
#include "TdbKeywords.h"
#include "TdbNumber.h"
#include "TdbSource.h"
#include "database/ContentDigest.h"
#include "database/PhasePartition.h"
#include "TdbTreeParser.h"
#include "database/ThermDatabase.h"
#include "models/IonicLiquidPhase.h"
#include "models/PropertyTerms.h"
#include "host/my_stricmp.h"
#include "thermfunctions/VxThermFunctions.h"

namespace tdb {

using namespace std::string_view_literals;

namespace {

// A species name with a charge written after its formula: "C1+1", "SI+1", "C2-1", "O-2", "FE+".
bool chargedSpeciesName(const std::string& name)
{
    const size_t sign = name.find_last_of("+-");
    if (sign == std::string::npos || sign == 0) return false;
    for (size_t i = sign + 1; i < name.size(); ++i)
        if (!isAsciiDigit(name[i])) return false;
    return true;
}

enum Keyword {
    kElement,
    kSpecies,
    kFunction,
    kParameter,
    kPhase,
    kConstituent,
    kTypeDefinition,
    kTemperatureLimits,
    // bookkeeping commands: read and skipped
    kDefineSystemDefault,
    kDefaultCommand,
    kDatabaseInfo,
    kVersionDate,
    kVersionData,
    kReferenceFile,
    kListOfReferences,
    kAddReferences,
    kAssessedSystems,
    kZerovolumeSpecies,
    kCase,
    kEndcase,
    kKeywordCount
};

const std::vector<std::string>& keywords()
{
    static const std::vector<std::string> k = {
        "ELEMENT",         "SPECIES",          "FUNCTION",          "PARAMETER",     "PHASE",
        "CONSTITUENT",     "TYPE_DEFINITION",  "TEMPERATURE_LIMITS", "DEFINE_SYSTEM_DEFAULT",
        "DEFAULT_COMMAND", "DATABASE_INFO",    "VERSION_DATE",      "VERSION_DATA",  "REFERENCE_FILE",
        "LIST_OF_REFERENCES", "ADD_REFERENCES", "ASSESSED_SYSTEMS", "ZEROVOLUME_SPECIES", "CASE", "ENDCASE"};
    return k;
}

bool isBlank(char c) { return isAsciiSpace(c); }

// Puts text newToOld[k] of the table at k, handing the texts over instead of
// copying them (newToOld is a permutation of the table's positions).
void permuteTexts(myCStringArray& table, const std::vector<int>& newToOld)
{
    struct Text
    {
        char* buffer;
        int length, capacity;
    };
    std::vector<Text> texts(newToOld.size());
    for (size_t k = 0; k < texts.size(); ++k) {
        const myCString& from = table.m_pData[newToOld[k]];
        texts[k] = {from.m_pszBuffer, from.m_nLength, from.m_nCapacity};
    }
    for (size_t k = 0; k < texts.size(); ++k) {
        myCString& to = table.m_pData[k];
        to.m_pszBuffer = texts[k].buffer;
        to.m_nLength = texts[k].length;
        to.m_nCapacity = texts[k].capacity;
    }
}

// Parameter types the kernel knows by code, with the source table they use.
struct BuiltinType
{
    const char* keyword;
    int code;
    int sourceKind;
};

const BuiltinType kBuiltinTypes[] = {
    {"G", 0, 1},   {"L", 0, 1},   {"TC", 10, 1}, {"BMAGN", 20, 1}, {"BM", 20, 1}, {"BMAG", 20, 1},
    {"IS", 3, 1},  {"SE", 5, 1},  {"HMVA", 30, 1}, {"VS", 54, 1},  {"MQ", 50, 2}, {"MF", 51, 2},
    {"DQ", 52, 2}, {"DF", 53, 2}, {"CR", 60, 2}};

// User-named parameter types that are known not to enter the Gibbs energy
// (volumes, transport and other physical properties); any other user-named
// type may change G and makes its phase not evaluable.
const char* const kPropertyTypes[] = {"V0", "VA", "VB", "VC", "VK", "RHO", "ELRS", "THCD", "VISC", "SIGM", "XI"};

struct TypeDefinition
{
    enum class Kind { Magnetic, DisorderedPart, Other } kind = Kind::Other;
    double afm = 0.0;       //!< antiferromagnetic factor
    double p = 0.0;         //!< structure factor
    std::string text;       //!< the declaration as written (for messages)
    size_t offset = 0;
    std::string amended;    //!< the phase the declaration amends (DIS_PART: the ordered phase)
    std::string disordered; //!< DIS_PART: the disordered phase it names
};

struct PhaseInfo
{
    std::string codes;      //!< type-code characters of the PHASE command
    std::string suffix;     //!< text after ":" in the phase name
    size_t offset = 0;      //!< where its PHASE command starts
    bool constituents = false;
    std::string disorderedPart;  //!< the disordered phase of an ordered phase with DIS_PART, else empty
};

// A word of a command with where it starts.
struct Word
{
    std::string text;
    size_t offset;
};

class Builder
{
public:
    //! Why a command's text could not be taken, and where.
    struct Problem
    {
        size_t offset = 0;
        std::string message;
    };

    Builder(const TdbSource& src, ThermDatabase& db, ReadReport& report, const ReadOptions& options)
        : src_(src), text_(src.text()), db_(db), dm_(db.dataMgr), report_(report), options_(options)
    {
    }

    void run();

private:
    const TdbSource& src_;
    const std::string& text_;
    ThermDatabase& db_;
    CVxDataMgr& dm_;
    ReadReport& report_;
    const ReadOptions& options_;

    std::unordered_map<std::string, int> species_;  //!< upper name -> data-manager element index
    NameTable symbols_;                             //!< upper name -> symbol-list position
    std::unordered_map<std::string, int> phases_;   //!< upper name -> index in db.phases
    std::vector<PhaseInfo> phaseInfo_;
    std::map<char, std::vector<TypeDefinition>> typeDefs_;
    std::vector<std::string> symbolProblem_;         //!< per symbol: why it cannot be used ("" when fine)
    std::vector<std::vector<int>> symbolRefs_;       //!< per symbol: the symbols its pieces refer to
    std::vector<size_t> symbolOffset_;               //!< per symbol: where its (last) FUNCTION command starts

    //! Every error: its diagnostic's index and the offset it names.
    std::vector<std::pair<size_t, size_t>> errorSites_;
    //! A command as cut from the file: its extent and the keyword it was matched to.
    struct Cut
    {
        size_t begin = 0, end = 0, bodyBegin = 0;
        std::string keyword;  //!< full upper-case keyword, empty when none matched
    };
    std::vector<Cut> cuts_;  //!< in file order
    // Any error in a command makes the phases it feeds not evaluable: the phase of
    // a PARAMETER, PHASE or CONSTITUENT, the phases carrying a TYPE_DEFINITION's
    // code.  (Functions reach their phases through the parameters that use them.)
    void markPhasesFedByErrors();
    // "line N" of an offset, for reasons that outlive the diagnostics.
    std::string lineOf(size_t offset) const
    {
        int line = 0, column = 0;
        src_.position(offset, line, column);
        return "line " + std::to_string(line);
    }

    // --- diagnostics ---
    void report(Diagnostic::Severity sev, size_t offset, const std::string& command, const std::string& message)
    {
        Diagnostic d;
        d.severity = sev;
        d.file = src_.fileName();
        src_.position(offset, d.line, d.column);
        d.command = command;
        d.message = message;
        report_.diagnostics.push_back(std::move(d));
    }
    void error(size_t offset, const std::string& command, const std::string& message)
    {
        errorSites_.emplace_back(report_.diagnostics.size(), offset);
        report(Diagnostic::Severity::Error, offset, command, message);
    }
    void warning(size_t offset, const std::string& command, const std::string& message)
    {
        report(Diagnostic::Severity::Warning, offset, command, message);
    }

    void notEvaluable(int phase, const std::string& why)
    {
        CVxPhase& ph = *db_.phases[static_cast<size_t>(phase)].phase;
        if (ph.m_bEvaluable) {
            ph.m_bEvaluable = 0;
            ph.m_NotEvaluableWhy = why;
        } else if (ph.m_NotEvaluableWhy.find(why) == std::string::npos && ph.m_NotEvaluableWhy.size() < 400) {
            ph.m_NotEvaluableWhy += "; " + why;
        }
    }

    // --- words ---
    std::vector<Word> words(size_t begin, size_t end) const
    {
        std::vector<Word> out;
        size_t i = begin;
        while (i < end) {
            while (i < end && isBlank(text_[i])) ++i;
            if (i >= end) break;
            size_t start = i;
            while (i < end && !isBlank(text_[i])) ++i;
            out.push_back(Word{text_.substr(start, i - start), start});
        }
        return out;
    }
    // Offset of the first non-blank character at or after i.
    size_t skipBlanks(size_t i, size_t end) const
    {
        while (i < end && isBlank(text_[i])) ++i;
        return i;
    }
    // End of the keyword (first word) of a command.
    size_t afterWord(size_t i, size_t end) const
    {
        i = skipBlanks(i, end);
        while (i < end && !isBlank(text_[i])) ++i;
        return i;
    }

    static bool number(std::string_view s, double& value)
    {
        if (s.empty()) return false;
        if (exactDecimal(s.data(), s.data() + s.size(), value)) return true;
        std::string t(s);
        for (char& c : t)
            if (c == 'D' || c == 'd') c = 'E';
        // strtod would also take hex, "inf" and "nan", which are no database numbers
        for (char c : t)
            if (!(isAsciiDigit(c) || c == '.' || c == 'E' || c == 'e' || c == '+' ||
                  c == '-'))
                return false;
        char* endp = nullptr;
        value = std::strtod(t.c_str(), &endp);
        return endp && *endp == 0 && std::isfinite(value);
    }

    // A numeric prefix of text_ at i (sign, digits, point, exponent); its length, 0 when none.
    size_t scanNumber(size_t i, size_t end, double& value) const
    {
        size_t j = i;
        if (j < end && (text_[j] == '+' || text_[j] == '-')) ++j;
        size_t digits = 0;
        while (j < end && isAsciiDigit(text_[j])) ++j, ++digits;
        if (j < end && text_[j] == '.') {
            ++j;
            while (j < end && isAsciiDigit(text_[j])) ++j, ++digits;
        }
        if (digits == 0) return 0;
        if (j < end && (text_[j] == 'E' || text_[j] == 'e' || text_[j] == 'D' || text_[j] == 'd')) {
            size_t k = j + 1;
            if (k < end && (text_[k] == '+' || text_[k] == '-')) ++k;
            if (k < end && isAsciiDigit(text_[k])) {
                while (k < end && isAsciiDigit(text_[k])) ++k;
                j = k;
            }
        }
        if (!number(std::string_view(text_).substr(i, j - i), value)) return 0;
        return j - i;
    }

    // --- commands ---
    // True when word names no element or species yet (else reported).
    bool newSpeciesName(const Word& word, const std::string& cmd, const char* what);
    void element(const Command& c, size_t bodyBegin);
    void speciesCommand(const Command& c, size_t bodyBegin);
    std::string functionName(const Command& c, size_t bodyBegin, size_t& nameEnd);
    // A FUNCTION command to read: the definition that counts for its name, and
    // the name's symbol-list position.
    struct FunctionDefinition
    {
        const std::pair<const Command*, size_t>* entry;
        int position;
        Problem problem;
    };
    bool functionBody(FunctionDefinition& definition, bool allowTrees);
    void typeDefinition(const Command& c, size_t bodyBegin);
    void phase(const Command& c, size_t bodyBegin);
    void constituent(const Command& c, size_t bodyBegin);
    void parameter(const Command& c, size_t bodyBegin);
    void temperatureLimits(const Command& c, size_t bodyBegin);
    void applyTypeDefinitions();
    void propagateSymbolProblems();
    void orderSymbols();
    // The order in which to read FUNCTION commands: each after the ones its
    // text names (where that has an order), otherwise in file order.
    std::vector<size_t> readingOrder(const std::vector<FunctionDefinition>& definitions);
    std::vector<size_t> bindingOrder() const;
    void attachDisorderedPartOf(size_t phase);
    void bind();
    void reportDuplicates(TThermFktMgr& list);
    std::unordered_map<const TThermFktData*, size_t> parameterAt_;  //!< where each parameter's command starts
    int duplicateWarnings_ = 0;                                       //!< repeats found so far

    //! A range whose expression is kept as a tree; its piece will refer to the tree's symbol.
    struct TreeRange
    {
        size_t piece = 0;
        ExpressionTree tree;
    };
    // Temperature ranges "T0 expr; T1 Y expr; T2 N ref" into pieces; false with
    // problem.  With allowTrees, a range the piece cannot hold exactly is read
    // as a tree into trees (its piece left empty).
    bool ranges(size_t begin, size_t end, int symbolList, bool foldConstants, bool allowTrees,
                std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                std::vector<int>& refs, Problem& problem);
    // ranges() as written; when that fails, once more with constant-valued functions
    // taken as numbers, which lets "-7*UNTIER*LLIQ3" (UNTIER = 1/3) fit the term model;
    // then, with allowTrees, once more with trees for what the piece cannot hold.
    bool readRanges(size_t begin, size_t end, int symbolList, bool allowTrees,
                    std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                    std::vector<int>& refs, Problem& problem);
    // Each tree range becomes a symbol of its own, named after base, which its
    // piece refers to with the factor 1.
    void attachTrees(const std::string& base, const std::string& origin,
                     std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                     std::vector<int>& refs);
    // Gives the pieces to the data manager and their indices to f, in order.
    void handOver(std::vector<std::unique_ptr<TThermTPolynom>>& pieces, TThermFkt& f);
    // A new function at the end of the symbol list, with its bookkeeping.
    int newSymbol(const std::string& name);
    // A name used without a definition: a free symbol, each use recorded.
    int freeSymbol(const std::string& name, size_t begin, size_t end);
    void registerFreeSymbols();
    std::map<std::string, std::vector<size_t>> freeUses_;  //!< undefined name -> offsets of its uses
    Problem rangeNote_;  //!< a dialect the last ranges() accepted, for a warning ("" when none)
    // The value of a function made of one constant range that covers the database's limits.
    bool constantValue(const std::vector<std::unique_ptr<TThermTPolynom>>& pieces, double& value) const;
    std::unordered_map<std::string, double> constants_;  //!< functions known to be constant
    // A temperature limit at i: a number, or a run of "," for the default.
    bool limit(size_t& i, size_t end, double defaultValue, double& value);
    // True when the range text at i starts with the expression, not with a lower limit.
    bool lowerLimitLeftOut(size_t i, size_t end) const;
};

void Builder::temperatureLimits(const Command& c, size_t bodyBegin)
{
    std::vector<Word> w = words(bodyBegin, c.end);
    double lo = 0, hi = 0;
    if (w.size() < 2 || !number(w[0].text, lo) || !number(w[1].text, hi) || !(lo < hi) || lo <= 0.0) {
        error(c.begin, "TEMPERATURE_LIMITS", "expected a lower and a higher temperature limit in kelvin");
        return;
    }
    db_.defaultTLow = lo;
    db_.defaultTHigh = hi;
}

bool Builder::newSpeciesName(const Word& word, const std::string& cmd, const char* what)
{
    std::string name = upper(word.text);
    if (name.size() >= sizeof(TDMGRElementData::m_szElementName)) {
        error(word.offset, cmd, std::string(what) + " name longer than 31 characters");
        return false;
    }
    if (species_.count(name)) {
        warning(word.offset, cmd, std::string(what) + " defined again; the first definition is kept");
        return false;
    }
    return true;
}

void Builder::element(const Command& c, size_t bodyBegin)
{
    std::vector<Word> w = words(bodyBegin, c.end);
    if (w.empty()) {
        error(c.begin, "ELEMENT", "expected an element name");
        return;
    }
    std::string name = upper(w[0].text);
    const std::string cmd = "ELEMENT " + name;
    if (!newSpeciesName(w[0], cmd, "element")) return;
    TDMGRElementData e;
    std::memset(&e, 0, sizeof e);
    std::snprintf(e.m_szElementName, sizeof e.m_szElementName, "%s", name.c_str());
    if (w.size() > 1) std::snprintf(e.m_szReference, sizeof e.m_szReference, "%s", upper(w[1].text).c_str());
    double* fields[] = {&e.m_dMass, &e.m_dH298, &e.m_dS298};
    for (size_t k = 0; k < 3 && k + 2 < w.size(); ++k)
        if (!number(w[k + 2].text, *fields[k])) {
            error(w[k + 2].offset, cmd, "malformed number '" + w[k + 2].text + "'");
            return;
        }
    // vacancies and the electron carry no atoms
    e.m_dAtoms = (name == "VA" || name == "/-") ? 0.0 : 1.0;
    e.m_nCharge = name == "/-" ? -1 : 0;
    species_[name] = dm_.AddElement(e);
    ++report_.elements;
}

void Builder::speciesCommand(const Command& c, size_t bodyBegin)
{
    std::vector<Word> w = words(bodyBegin, c.end);
    if (w.size() < 2) {
        error(c.begin, "SPECIES", "expected a species name and its formula");
        return;
    }
    std::string name = upper(w[0].text);
    const std::string cmd = "SPECIES " + name;
    if (!newSpeciesName(w[0], cmd, "species")) return;
    // formula: element names with optional amounts, then an optional charge "/+2"
    std::string f = upper(w[1].text);
    double atoms = 0.0;
    int charge = 0;
    size_t i = 0;
    while (i < f.size()) {
        if (f[i] == '/') {
            std::string q = f.substr(i + 1);
            double v = 0;
            if (q == "-" || q == "+")
                v = q == "-" ? -1 : 1;
            else if (!number(q, v)) {
                error(w[1].offset + i, cmd, "malformed charge '" + f.substr(i) + "' in the formula");
                return;
            }
            charge = static_cast<int>(v);
            break;
        }
        std::string el;
        for (size_t len : {size_t(2), size_t(1)}) {
            if (i + len <= f.size() && species_.count(f.substr(i, len)) &&
                dm_.m_ElementArray[species_[f.substr(i, len)]].m_bIsSpecies == 0) {
                el = f.substr(i, len);
                break;
            }
        }
        if (el.empty()) {
            error(w[1].offset + i, cmd, "unknown element at '" + f.substr(i) + "' in the formula");
            return;
        }
        i += el.size();
        size_t j = i;
        while (j < f.size() && (isAsciiDigit(f[j]) || f[j] == '.')) ++j;
        double amount = 1.0;
        if (j > i && !number(f.substr(i, j - i), amount)) {
            error(w[1].offset + i, cmd, "malformed amount '" + f.substr(i, j - i) + "' in the formula");
            return;
        }
        i = j;
        if (el != "VA" && el != "/-") atoms += amount;
    }
    TDMGRElementData e;
    std::memset(&e, 0, sizeof e);
    std::snprintf(e.m_szElementName, sizeof e.m_szElementName, "%s", name.c_str());
    e.m_dAtoms = atoms;
    e.m_bIsSpecies = 1;
    e.m_nCharge = charge;
    species_[name] = dm_.AddElement(e);
    ++report_.species;
}

std::string Builder::functionName(const Command& c, size_t bodyBegin, size_t& nameEnd)
{
    size_t i = skipBlanks(bodyBegin, c.end);
    size_t start = i;
    while (i < c.end && !isBlank(text_[i])) ++i;
    nameEnd = i;
    return upper(text_.substr(start, i - start));
}

bool Builder::limit(size_t& i, size_t end, double defaultValue, double& value)
{
    i = skipBlanks(i, end);
    if (i < end && text_[i] == ',') {
        while (i < end && (text_[i] == ',' || isBlank(text_[i]))) ++i;
        value = defaultValue;
        return true;
    }
    size_t n = scanNumber(i, end, value);
    if (n == 0) return false;
    i += n;
    return true;
}

namespace {
// Terms of a piece whose temperature derivatives the kernel leaves out (it
// differentiates A, B, C, the powers and the symbol terms only): a range that
// needs one of them is read as a tree, so that S, H and Cp stay exact.  A
// pressure term p*P with a constant p has no temperature derivative to lose.
bool losesDerivatives(const TThermTPolynom& p)
{
    if (p.m_bRTLnTerm || p.m_bLnTerm || p.m_bExpTerm) return true;
    if (!p.m_bPressureTerms) return false;
    return p.m_bTPTerm || p.m_bT2PTerm || (p.m_bPTerm && p.m_nPSymbol >= 0);
}
}  // namespace

bool Builder::ranges(size_t begin, size_t end, int symbolList, bool foldConstants, bool allowTrees,
                     std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                     std::vector<int>& refs, Problem& problem)
{
    // Two captures at most, so that the resolver lives inside its std::function
    // instead of a heap block per call.
    struct Scope
    {
        size_t exprBegin, exprEnd;
        bool foldConstants;
    } scope{begin, end, foldConstants};
    size_t& exprBegin = scope.exprBegin;
    size_t& exprEnd = scope.exprEnd;
    ExpressionParser::SymbolResolver resolve = [this, &scope](const std::string& name) {
        ExpressionParser::Symbol sym;
        const int* position = symbols_.find(name);
        if (position == nullptr) {
            // R without a FUNCTION R is the gas constant, which the parsers know
            if (name != "R") sym.index = freeSymbol(name, scope.exprBegin, scope.exprEnd);
            return sym;
        }
        sym.index = *position;
        if (scope.foldConstants) {
            auto c = constants_.find(name);
            if (c != constants_.end()) {
                sym.constant = true;
                sym.value = c->second;
            }
        }
        return sym;
    };
    ExpressionParser parser(text_, resolve);
    pieces.clear();
    trees.clear();
    refs.clear();
    rangeNote_ = Problem();
    size_t i = skipBlanks(begin, end);
    double low = 0.0;
    if (lowerLimitLeftOut(i, end)) {
        low = db_.defaultTLow;  // "PARA G(LIQUID,AL) +GALLIQ; N": the database's lower limit
    } else if (!limit(i, end, db_.defaultTLow, low)) {
        problem = {i, "expected the lower temperature limit"};
        return false;
    }
    for (;;) {
        size_t semicolon = text_.find(';', i);
        if (semicolon == std::string::npos || semicolon >= end) {
            problem = {skipBlanks(i, end), "missing ';' after the expression"};
            return false;
        }
        auto piece = std::make_unique<TThermTPolynom>();
        piece->m_nSymbolList = symbolList;
        ExpressionError e;
        exprBegin = i;
        exprEnd = semicolon;
        std::vector<int> pieceRefs;
        bool fits = parser.parse(i, semicolon, *piece, pieceRefs, e);
        if (fits && losesDerivatives(*piece)) {
            fits = false;
            e = ExpressionError{skipBlanks(i, semicolon), "its LN, EXP or pressure terms need exact derivatives"};
        }
        if (fits) {
            refs.insert(refs.end(), pieceRefs.begin(), pieceRefs.end());
        } else if (allowTrees && e.message.find("overflows") == std::string::npos) {
            TreeRange tr;
            tr.piece = pieces.size();
            ExpressionError te;
            if (!TreeParser(text_, resolve).parse(i, semicolon, tr.tree, refs, te)) {
                problem = {te.offset, te.message};
                return false;
            }
            piece = std::make_unique<TThermTPolynom>();
            piece->m_nSymbolList = symbolList;
            trees.push_back(std::move(tr));
        } else {
            problem = {e.offset, e.message};
            return false;
        }
        size_t j = semicolon + 1;
        double high = 0.0;
        const size_t afterSemicolon = skipBlanks(j, end);
        if (afterSemicolon < end && toAsciiUpper(text_[afterSemicolon]) == 'N' &&
            (afterSemicolon + 1 >= end || isBlank(text_[afterSemicolon + 1]))) {
            high = db_.defaultTHigh;  // "; N !": the database's upper limit
        } else if (!limit(j, end, db_.defaultTHigh, high)) {
            problem = {j, "expected the upper temperature limit after ';'"};
            return false;
        }
        if (!(high > low)) {
            problem = {semicolon + 1, "the upper temperature limit is not above the lower one"};
            return false;
        }
        piece->m_dTLow = low;
        piece->m_dTHigh = high;
        pieces.push_back(std::move(piece));
        j = skipBlanks(j, end);
        if (j >= end) return true;  // "N" left out at the end of the command
        char yn = toAsciiUpper(text_[j]);
        if (yn == 'Y') {
            i = j + 1;
            low = high;
            continue;
        }
        if (yn != 'N') {
            // "6000.00 01DUP": a reference where N belongs; taken as the last range
            size_t k = j;
            while (k < end && !isBlank(text_[k])) ++k;
            rangeNote_ = {j, "expected Y or N after the upper temperature limit, found '" + text_.substr(j, k - j) +
                                 "'; taken as N followed by the reference"};
        }
        return true;  // the rest is the reference
    }
}

bool Builder::lowerLimitLeftOut(size_t i, size_t end) const
{
    if (i >= end) return false;
    const char c = text_[i];
    if (c == ',') return false;  // the default written as ","
    if (!(isAsciiDigit(c) || c == '.')) return true;  // "+GALLIQ; N", "-1000+T; ..."
    double v = 0.0;
    const size_t n = scanNumber(i, end, v);
    if (n == 0) return false;
    // a number directly followed by an operator or ';' is the expression itself
    size_t k = i + n;
    if (k < end && !isBlank(text_[k])) return text_[k] == ';' || std::strchr("*/+-", text_[k]) != nullptr;
    k = skipBlanks(k, end);
    return k < end && text_[k] == ';';
}

bool Builder::readRanges(size_t begin, size_t end, int symbolList, bool allowTrees,
                         std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                         std::vector<int>& refs, Problem& problem)
{
    if (ranges(begin, end, symbolList, false, false, pieces, trees, refs, problem)) return true;
    Problem second;
    if (!constants_.empty() && ranges(begin, end, symbolList, true, false, pieces, trees, refs, second)) return true;
    return allowTrees && ranges(begin, end, symbolList, false, true, pieces, trees, refs, problem);
}

int Builder::newSymbol(const std::string& name)
{
    dm_.AddSymbolFunction(name.c_str());
    const int position = dm_.GetSymbolFktMgr()->m_FktArray.m_nSize - 1;
    symbols_.set(name, position);
    const size_t n = static_cast<size_t>(position) + 1;
    symbolProblem_.resize(n);
    symbolRefs_.resize(n);
    symbolOffset_.resize(n, 0);
    return position;
}

int Builder::freeSymbol(const std::string& name, size_t begin, size_t end)
{
    const int* known = symbols_.find(name);
    const int position = known != nullptr ? *known : newSymbol(name);
    // where the name stands in the expression, for the message
    size_t at = begin;
    for (size_t k = begin; k + name.size() <= end; ++k) {
        bool word = (k == begin || !(isAsciiAlnum(text_[k - 1]) || text_[k - 1] == '_'));
        if (word && upper(text_.substr(k, name.size())) == name) {
            at = k;
            break;
        }
    }
    std::vector<size_t>& uses = freeUses_[name];
    if (std::find(uses.begin(), uses.end(), at) == uses.end()) uses.push_back(at);
    // Without a value promised by the caller the name makes what uses it unusable;
    // with one, the phases are refused only while it is still unset.
    const bool given = options_.undefinedAsZero ||
                       std::find(options_.givenSymbols.begin(), options_.givenSymbols.end(), name) !=
                           options_.givenSymbols.end();
    if (!given) symbolProblem_[static_cast<size_t>(position)] = "undefined function '" + name + "'";
    return position;
}

void Builder::attachTrees(const std::string& base, const std::string& origin,
                          std::vector<std::unique_ptr<TThermTPolynom>>& pieces, std::vector<TreeRange>& trees,
                          std::vector<int>& refs)
{
    for (TreeRange& tr : trees) {
        // a visible name, unique in the symbol list and within the kernel's 31 characters
        std::string stem = base.substr(0, 24) + "_R" + std::to_string(tr.piece + 1);
        std::string name = stem;
        for (int k = 2; symbols_.contains(name); ++k) name = stem + "_" + std::to_string(k);
        const int position = newSymbol(name);
        TThermTPolynom& piece = *pieces[tr.piece];
        piece.m_nSymbolTerms = 1;
        piece.m_anSymbolIndex[0] = position;
        piece.m_adSymbolFactor[0] = 1.0;
        std::vector<int> treeRefs = tr.tree.references();
        symbolRefs_[static_cast<size_t>(position)] = treeRefs;
        for (int r : treeRefs)
            if (symbolProblem_[static_cast<size_t>(position)].empty())
                symbolProblem_[static_cast<size_t>(position)] = symbolProblem_[static_cast<size_t>(r)];
        refs.push_back(position);
        SymbolExpressions::TreeSymbol t;
        t.symbol = position;
        t.tLow = piece.m_dTLow;
        t.tHigh = piece.m_dTHigh;
        t.tree = std::move(tr.tree);
        t.origin = origin;
        db_.expressions.addTree(std::move(t));
    }
    trees.clear();
}

void Builder::registerFreeSymbols()
{
    for (auto& [name, uses] : freeUses_) {
        SymbolExpressions::FreeSymbol f;
        f.symbol = *symbols_.find(name);
        f.name = name;
        const bool given = options_.undefinedAsZero || std::find(options_.givenSymbols.begin(),
                                                                  options_.givenSymbols.end(), name) !=
                                                           options_.givenSymbols.end();
        std::sort(uses.begin(), uses.end());
        int lastLine = -1;
        for (size_t at : uses) {
            int line = 0, column = 0;
            src_.position(at, line, column);
            if (line != lastLine) f.usedAt += (f.usedAt.empty() ? "" : ", ") + src_.fileName() + ":" + std::to_string(line);
            lastLine = line;
            if (given) continue;
            if (upper(text_.substr(skipBlanks(text_.rfind('!', at) == std::string::npos ? 0 : text_.rfind('!', at) + 1, at), 4)) == "PARA")
                continue;  // the parameter's own error names it
            // the command the use stands in, for the message
            size_t start = text_.rfind('!', at);
            start = start == std::string::npos ? 0 : start + 1;
            start = skipBlanks(start, at);
            size_t e1 = afterWord(start, at);
            size_t e2 = afterWord(e1, at);
            std::string cmd = upper(text_.substr(start, e1 - start));
            int k = matchKeyword(cmd, keywords());
            if (k >= 0) cmd = keywords()[static_cast<size_t>(k)];
            std::string what = upper(text_.substr(skipBlanks(e1, e2), e2 - skipBlanks(e1, e2)));
            if (k == kParameter) what = what.substr(0, what.find(')') == std::string::npos ? what.size() : what.find(')') + 1);
            error(at, cmd + " " + what,
                  "undefined function '" + name + "'; it evaluates once given a value (--set " + name +
                      "=VALUE or --undefined-as-zero)");
        }
        db_.expressions.addFree(std::move(f));
    }
}

bool Builder::constantValue(const std::vector<std::unique_ptr<TThermTPolynom>>& pieces, double& value) const
{
    if (pieces.size() != 1) return false;
    const TThermTPolynom& p = *pieces.front();
    if (p.m_dTLow > db_.defaultTLow || p.m_dTHigh < db_.defaultTHigh) return false;
    if (p.m_dB != 0.0 || p.m_dC != 0.0 || p.m_nSymbolTerms != 0 || p.m_bRTLnTerm || p.m_bLnTerm || p.m_bExpTerm ||
        p.m_bPressureTerms)
        return false;
    for (int i = 0; i < p.m_nPowerTerms; ++i)
        if (p.m_adPowerCoef[i] != 0.0) return false;
    value = p.m_dA;
    return true;
}

// What AddPolynom does once per piece, for all pieces at once: the index list
// of the function is allocated once at its final size rather than grown, and
// the data manager's array doubles (see ArrayGrowth.h).
void Builder::handOver(std::vector<std::unique_ptr<TThermTPolynom>>& pieces, TThermFkt& f)
{
    myCArray<TThermTPolynom*, TThermTPolynom*>& all = dm_.m_PolynomArray;
    const int first = all.m_nSize, count = static_cast<int>(pieces.size());
    const int known = f.m_PolyIndex.m_nSize;
    if (count == 0) return;
    growByDoubling(all);
    all.SetSize(first + count, -1);
    f.m_PolyIndex.SetSize(known + count, -1);
    for (int k = 0; k < count; ++k) {
        all.m_pData[first + k] = pieces[static_cast<size_t>(k)].release();
        f.m_PolyIndex.m_pData[known + k] = first + k;
    }
}

bool Builder::functionBody(FunctionDefinition& definition, bool allowTrees)
{
    const Command& c = *definition.entry->first;
    size_t nameEnd = 0;
    std::string name = functionName(c, definition.entry->second, nameEnd);
    const int index = definition.position;
    std::vector<std::unique_ptr<TThermTPolynom>> pieces;
    std::vector<TreeRange> trees;
    std::vector<int> refs;
    if (!readRanges(nameEnd, c.end, 1, allowTrees, pieces, trees, refs, definition.problem)) return false;
    if (!rangeNote_.message.empty()) warning(rangeNote_.offset, "FUNCTION " + name, rangeNote_.message);
    double value = 0.0;
    if (trees.empty() && constantValue(pieces, value)) constants_[name] = value;
    if (!trees.empty()) attachTrees(name, "FUNCTION " + name, pieces, trees, refs);
    handOver(pieces, *dm_.GetSymbolFktMgr()->m_FktArray[index]);
    symbolRefs_[static_cast<size_t>(index)] = std::move(refs);
    ++report_.functions;
    return true;
}

// Evaluating a symbol function first brings every function it refers to that
// stands later in the list up to date, once per reference and derivative
// order, recursively: a chain of such forward references costs work that grows
// with a power of its length, and a branching one grows exponentially.  So the
// list is put into dependency order (every function after those it refers to,
// otherwise in file order): each function is then evaluated once per
// temperature step and nothing nests.  A function that refers to itself,
// directly or through others, has no such order and is refused.
void Builder::orderSymbols()
{
    const size_t n = symbolRefs_.size();
    std::vector<int> newToOld;
    newToOld.reserve(n);
    std::vector<char> state(n, 0);  // 0 unvisited, 1 on the path, 2 placed
    std::vector<std::pair<size_t, size_t>> stack;  // (function, next reference to look at)
    for (size_t root = 0; root < n; ++root) {
        if (state[root]) continue;
        stack.emplace_back(root, 0);
        state[root] = 1;
        while (!stack.empty()) {
            auto& [f, k] = stack.back();
            if (k < symbolRefs_[f].size()) {
                size_t r = static_cast<size_t>(symbolRefs_[f][k++]);
                if (state[r] == 0) {
                    state[r] = 1;
                    stack.emplace_back(r, 0);
                } else if (state[r] == 1 && symbolProblem_[f].empty()) {
                    std::string name = dm_.m_SymbolNames1.m_pData[f].m_pszBuffer;
                    std::string target = dm_.m_SymbolNames1.m_pData[r].m_pszBuffer;
                    error(symbolOffset_[f], "FUNCTION " + name,
                          r == f ? "refers to itself" : "refers to itself through " + target);
                    symbolProblem_[f] = "FUNCTION " + name + " at " + lineOf(symbolOffset_[f]) + " refers to itself";
                }
            } else {
                newToOld.push_back(static_cast<int>(f));
                state[f] = 2;
                stack.pop_back();
            }
        }
    }
    std::vector<int> oldToNew(n);
    for (size_t k = 0; k < n; ++k) oldToNew[static_cast<size_t>(newToOld[k])] = static_cast<int>(k);

    TThermFktMgr& list = *dm_.GetSymbolFktMgr();
    std::vector<TThermFkt*> functions(list.m_FktArray.m_pData, list.m_FktArray.m_pData + n);
    // the name tables follow the list: their texts are handed over, not copied
    for (myCStringArray* table : {&dm_.m_SymbolNames1, &dm_.m_SymbolNames2, &dm_.m_SymbolNames3})
        permuteTexts(*table, newToOld);
    auto remap = [&](int32_t& index) {
        if (index >= 0) index = oldToNew[static_cast<size_t>(index)];
    };
    std::vector<std::vector<int>> refs(n);
    std::vector<std::string> problems(n);
    std::vector<size_t> offsets(n);
    for (size_t k = 0; k < n; ++k) {
        size_t old = static_cast<size_t>(newToOld[k]);
        TThermFkt* f = functions[old];
        list.m_FktArray[static_cast<int>(k)] = f;
        f->m_pFktData->m_nNameIndex = static_cast<int>(k);
        // the pieces of a function that refers to no other hold no symbol index:
        // they need not be visited
        if (!symbolRefs_[old].empty())
            for (int p = 0; p < f->m_PolyIndex.m_nSize; ++p) {
                TThermTPolynom& piece = *dm_.m_PolynomArray[f->m_PolyIndex[p]];
                for (int t = 0; t < piece.m_nSymbolTerms; ++t) remap(piece.m_anSymbolIndex[t]);
                for (int32_t* r : {&piece.m_nRTLnSymbol, &piece.m_nLnFactorSymbol, &piece.m_nLnArgSymbol,
                                   &piece.m_nExpFactorSymbol, &piece.m_nExpArgSymbol, &piece.m_nPSymbol,
                                   &piece.m_nTPSymbol, &piece.m_nT2PSymbol})
                    remap(*r);
            }
        refs[k] = std::move(symbolRefs_[old]);
        for (int& r : refs[k]) r = oldToNew[static_cast<size_t>(r)];
        problems[k] = std::move(symbolProblem_[old]);
        offsets[k] = symbolOffset_[old];
    }
    symbols_.forEachValue([&](int& position) { position = oldToNew[static_cast<size_t>(position)]; });
    symbolRefs_.swap(refs);
    symbolProblem_.swap(problems);
    symbolOffset_.swap(offsets);
    db_.expressions.renumber(oldToNew);
}

std::vector<size_t> Builder::readingOrder(const std::vector<FunctionDefinition>& definitions)
{
    const size_t n = definitions.size();
    constexpr size_t kNone = static_cast<size_t>(-1);
    std::vector<size_t> definitionOf(symbols_.size(), kNone);  // symbol-list position -> entry of definitions
    // the entries each entry's text names, one entry after the other: entry k
    // names named[namedFrom[k]] .. named[namedFrom[k + 1] - 1]
    std::vector<size_t> named, namedFrom(n + 1);
    for (size_t k = 0; k < n; ++k) definitionOf[static_cast<size_t>(definitions[k].position)] = k;
    std::string name;
    for (size_t k = 0; k < n; ++k) {
        namedFrom[k] = named.size();
        const Command& c = *definitions[k].entry->first;
        size_t i = afterWord(definitions[k].entry->second, c.end);  // after the function's own name
        while (i < c.end) {
            const char ch = text_[i];
            if (isAsciiDigit(ch) || ch == '.') {
                // a number, with the letters of its exponent ("1E5", "2.5D-3"), names nothing
                while (i < c.end && (isAsciiAlnum(text_[i]) || text_[i] == '.')) ++i;
                continue;
            }
            if (!isAsciiAlpha(ch) && ch != '_') {
                ++i;
                continue;
            }
            // the name as written when it is upper case already, as databases mostly write them
            size_t j = i;
            bool lower = false;
            for (; j < c.end && (isAsciiAlnum(text_[j]) || text_[j] == '_'); ++j)
                lower |= text_[j] >= 'a' && text_[j] <= 'z';
            std::string_view word(text_.data() + i, j - i);
            i = j;
            if (lower) {
                name.assign(word);
                for (char& letter : name) letter = toAsciiUpper(letter);
                word = name;
            }
            if (word == "T"sv || word == "LN"sv || word == "EXP"sv || word == "P"sv) continue;
            const int* sym = symbols_.find(word);
            if (sym == nullptr) continue;
            const size_t def = definitionOf[static_cast<size_t>(*sym)];
            if (def != kNone && def != k) named.push_back(def);
        }
    }
    namedFrom[n] = named.size();
    // depth-first, each entry after the entries it names; a cycle is cut anywhere
    std::vector<size_t> order;
    order.reserve(n);
    std::vector<char> state(n, 0);  // 0 unvisited, 1 on the path, 2 placed
    std::vector<std::pair<size_t, size_t>> stack;
    for (size_t root = 0; root < n; ++root) {
        if (state[root]) continue;
        stack.emplace_back(root, 0);
        state[root] = 1;
        while (!stack.empty()) {
            auto& [k, next] = stack.back();
            if (namedFrom[k] + next < namedFrom[k + 1]) {
                size_t r = named[namedFrom[k] + next++];
                if (state[r] == 0) {
                    state[r] = 1;
                    stack.emplace_back(r, 0);
                }
            } else {
                order.push_back(k);
                state[k] = 2;
                stack.pop_back();
            }
        }
    }
    return order;
}

// A function is unusable when it could not be read or refers to one that is.
void Builder::propagateSymbolProblems()
{
    bool changed = true;
    while (changed) {
        changed = false;
        for (size_t s = 0; s < symbolRefs_.size(); ++s) {
            if (!symbolProblem_[s].empty()) continue;
            for (int r : symbolRefs_[s])
                if (!symbolProblem_[static_cast<size_t>(r)].empty()) {
                    symbolProblem_[s] = symbolProblem_[static_cast<size_t>(r)];
                    changed = true;
                    break;
                }
        }
    }
}

void Builder::typeDefinition(const Command& c, size_t bodyBegin)
{
    std::vector<Word> w = words(bodyBegin, c.end);
    const std::string cmd = "TYPE_DEFINITION";
    if (w.empty() || w[0].text.size() != 1) {
        error(c.begin, cmd, "expected a one-character type code");
        return;
    }
    char code = w[0].text[0];
    TypeDefinition def;
    def.offset = w[0].offset;
    def.text = text_.substr(w[0].offset, c.end - w[0].offset);
    while (!def.text.empty() && isBlank(def.text.back())) def.text.pop_back();
    std::vector<std::string> u;
    for (size_t k = 1; k < w.size(); ++k) {
        std::string t = upper(w[k].text);
        while (!t.empty() && t.back() == ',') t.pop_back();  // "0.280," and "FCC_A1,,,"
        u.push_back(t);
    }
    if (!u.empty() && abbreviates(u[0], "SEQUENTIAL")) return;  // sequential naming of phases: nothing to model
    if (u.size() >= 4 && u[0] == "GES" && abbreviates(u[1], "AMEND_PHASE_DESCRIPTION")) {
        const std::string& what = u[3];
        if (abbreviates(what, "MAGNETIC")) {
            if (u.size() < 6 || !number(u[4], def.afm) || !number(u[5], def.p) || !(def.p > 0.0 && def.p <= 1.0)) {
                error(w[0].offset, cmd, "expected MAGNETIC with the antiferromagnetic factor and a structure factor "
                                        "p in (0, 1]");
                return;
            }
            def.kind = TypeDefinition::Kind::Magnetic;
        } else if (abbreviates(what, "DIS_PART") || abbreviates(what, "DISORDERED_PART")) {
            if (u.size() < 5 || u[4].empty()) {
                error(w[0].offset, cmd, "expected DIS_PART followed by the name of the disordered phase");
                return;
            }
            def.kind = TypeDefinition::Kind::DisorderedPart;
            def.amended = u[2];
            def.disordered = u[4];
        }
    }
    typeDefs_[code].push_back(def);
}

void Builder::phase(const Command& c, size_t bodyBegin)
{
    std::vector<Word> w = words(bodyBegin, c.end);
    if (w.empty()) {
        error(c.begin, "PHASE", "expected a phase name");
        return;
    }
    std::string full = upper(w[0].text);
    std::string name = full.substr(0, full.find(':'));
    std::string suffix = full.find(':') == std::string::npos ? "" : full.substr(full.find(':') + 1);
    const std::string cmd = "PHASE " + name;
    if (name.empty() || name.size() > 31) {
        error(w[0].offset, cmd, "a phase name must have 1 to 31 characters");
        return;
    }
    if (phases_.count(name)) {
        error(w[0].offset, cmd, "phase defined twice; the second definition is skipped");
        return;
    }
    if (w.size() < 3) {
        error(w[0].offset, cmd, "expected the type codes, the number of sublattices and the site ratios");
        return;
    }
    double dn = 0;
    if (!number(w[2].text, dn) || dn != std::floor(dn) || dn < 1) {
        error(w[2].offset, cmd, "expected the number of sublattices, a whole number of at least 1");
        return;
    }
    int n = static_cast<int>(dn);
    if (n > 8) {
        error(w[2].offset, cmd, "more than 8 sublattices");
        return;
    }
    if (static_cast<int>(w.size()) != 3 + n) {
        error(w[2].offset, cmd, "expected " + std::to_string(n) + " site ratios, found " +
                                    std::to_string(static_cast<int>(w.size()) - 3));
        return;
    }
    std::vector<double> sites;
    for (int s = 0; s < n; ++s) {
        double a = 0;
        if (!number(w[static_cast<size_t>(3 + s)].text, a) || !(a > 0.0)) {
            error(w[static_cast<size_t>(3 + s)].offset, cmd, "expected a positive site ratio, found '" +
                                                                 w[static_cast<size_t>(3 + s)].text + "'");
            return;
        }
        sites.push_back(a);
    }
    ThermDatabase::PhaseRecord& rec = db_.addPhase(name);
    for (double a : sites) rec.phase->AddSublattice(a);
    rec.phase->m_TypeCodes = w[1].text;
    phases_[name] = static_cast<int>(db_.phases.size()) - 1;
    PhaseInfo info;
    info.codes = w[1].text;
    info.suffix = suffix;
    info.offset = c.begin;
    phaseInfo_.push_back(info);
    ++report_.phases;
}

void Builder::constituent(const Command& c, size_t bodyBegin)
{
    size_t i = skipBlanks(bodyBegin, c.end);
    size_t start = i;
    while (i < c.end && !isBlank(text_[i])) ++i;  // "LIQUID:L": the suffix is a code, not the name
    std::string full = upper(text_.substr(start, i - start));
    std::string name = full.substr(0, full.find(':'));
    const std::string cmd = "CONSTITUENT " + name;
    auto it = phases_.find(name);
    if (it == phases_.end()) {
        error(start, cmd, "unknown phase '" + name + "' (no PHASE command before it)");
        return;
    }
    int p = it->second;
    PhaseInfo& info = phaseInfo_[static_cast<size_t>(p)];
    if (info.constituents) {
        error(start, cmd, "constituents given twice; the second CONSTITUENT command is skipped");
        return;
    }
    ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(p)];
    // ":A,B%:C:" -> sublattices between the colons
    std::vector<std::vector<Word>> subl;
    size_t j = skipBlanks(i, c.end);
    if (j < c.end && text_[j] == ':') ++j;
    std::vector<Word> current;
    std::string word;
    size_t wordAt = 0;
    auto flush = [&]() {
        if (!word.empty()) current.push_back(Word{word, wordAt});
        word.clear();
    };
    bool closed = false;
    for (; j < c.end; ++j) {
        char ch = text_[j];
        if (ch == ':') {
            flush();
            subl.push_back(current);
            current.clear();
            closed = true;
        } else if (ch == ',' || isBlank(ch)) {
            flush();
        } else if (ch != '%') {
            if (word.empty()) wordAt = j;
            word += toAsciiUpper(ch);
            closed = false;
        }
    }
    flush();
    if (!current.empty() || !closed) subl.push_back(current);
    int n = rec.phase->m_nSublatticeCount;
    if (static_cast<int>(subl.size()) != n) {
        error(start, cmd, "phase " + name + " has " + std::to_string(n) + " sublattices, the command gives " +
                              std::to_string(subl.size()));
        notEvaluable(p, "its constituents could not be read");
        return;
    }
    bool ok = true;
    for (int s = 0; s < n; ++s) {
        if (subl[static_cast<size_t>(s)].empty()) {
            error(start, cmd, "sublattice " + std::to_string(s + 1) + " has no constituent");
            ok = false;
        }
        for (const Word& cw : subl[static_cast<size_t>(s)]) {
            auto sp = species_.find(cw.text);
            if (sp == species_.end()) {
                error(cw.offset, cmd, "unknown constituent '" + cw.text + "' (no ELEMENT or SPECIES command)");
                ok = false;
                continue;
            }
            int g = rec.gibbs->AddElement(dm_.m_ElementArray[sp->second]);
            if (rec.phase->Is(s, g) || rec.phase->AddConstituent(s, g) < 0) {
                warning(cw.offset, cmd, "constituent '" + cw.text + "' given twice in one sublattice");
            }
        }
    }
    info.constituents = true;
    if (!ok) notEvaluable(p, "its constituents could not be read");
}

void Builder::applyTypeDefinitions()
{
    for (size_t p = 0; p < db_.phases.size(); ++p) {
        CVxPhase& ph = *db_.phases[p].phase;
        const PhaseInfo& info = phaseInfo_[p];
        std::string name = ph.m_szPhaseName;
        const std::string cmd = "PHASE " + name;
        if (!info.constituents) {
            error(info.offset, cmd, "no CONSTITUENT command for this phase");
            notEvaluable(static_cast<int>(p), "no constituents");
        }
        const bool ionicLiquid = info.suffix.find('Y') != std::string::npos;
        if (ionicLiquid) {
            ph.m_nModelType = IonicLiquidPhase::kModelType;
            if (ph.m_nSublatticeCount != 2)
                notEvaluable(static_cast<int>(p), "an ionic liquid (:Y) has two sublattices, this one " +
                                                      std::to_string(ph.m_nSublatticeCount));
        }
        for (char code : info.codes) {
            auto it = typeDefs_.find(code);
            if (it == typeDefs_.end()) continue;
            for (const TypeDefinition& def : it->second) {
                if (def.kind == TypeDefinition::Kind::Magnetic) {
                    ph.m_dMagneticP = def.p;
                    ph.m_dAFMFactor = def.afm;
                    if (ionicLiquid)
                        notEvaluable(static_cast<int>(p), "a magnetic ionic liquid is not in the ionic-liquid model");
                } else if (def.kind == TypeDefinition::Kind::DisorderedPart && def.amended == name) {
                    // Databases attach the code to the disordered phase too; only the
                    // phase the declaration names is partitioned, the other is an
                    // ordinary phase with its own parameters.
                    phaseInfo_[p].disorderedPart = def.disordered;
                }
            }
        }
    }
}

void Builder::parameter(const Command& c, size_t bodyBegin)
{
    // TYPE(PHASE[&SPECIES],CONSTITUENTS[;ORDER]) RANGES
    size_t i = skipBlanks(bodyBegin, c.end);
    size_t open = i;
    while (open < c.end && text_[open] != '(' && !isBlank(text_[open])) ++open;
    std::string type = upper(text_.substr(i, open - i));
    size_t paren = skipBlanks(open, c.end);
    if (type.empty() || paren >= c.end || text_[paren] != '(') {
        error(i, "PARAMETER", "expected a parameter such as G(PHASE,CONSTITUENTS;ORDER)");
        return;
    }
    size_t close = text_.find(')', paren);
    if (close == std::string::npos || close >= c.end) {
        error(paren, "PARAMETER " + type, "missing ')' after the constituents");
        return;
    }
    std::string inner;
    for (size_t k = paren + 1; k < close; ++k)
        if (!isBlank(text_[k])) inner += toAsciiUpper(text_[k]);
    const std::string cmd = "PARAMETER " + type + "(" + inner + ")";
    size_t comma = inner.find(',');
    std::string phasePart = inner.substr(0, std::min(comma, inner.find(';')));
    std::string rest = comma == std::string::npos ? "" : inner.substr(comma + 1);
    std::string orderText;
    size_t semi = rest.find(';');
    if (comma == std::string::npos) {
        size_t s2 = inner.find(';');
        if (s2 != std::string::npos) orderText = inner.substr(s2 + 1);
    } else if (semi != std::string::npos) {
        orderText = rest.substr(semi + 1);
        rest = rest.substr(0, semi);
    }
    std::string speciesName;
    size_t amp = phasePart.find('&');
    if (amp != std::string::npos) {
        speciesName = phasePart.substr(amp + 1);
        phasePart = phasePart.substr(0, amp);
    }
    std::string phaseName = phasePart.substr(0, phasePart.find(':'));
    int order = 0;
    if (!orderText.empty()) {
        double v = 0;
        if (!number(orderText, v) || v != std::floor(v) || v < 0 || v > 1000) {
            error(paren, cmd, "expected a whole, non-negative order after ';', found '" + orderText + "'");
            auto it = phases_.find(phaseName);
            if (it != phases_.end()) notEvaluable(it->second, "a parameter could not be read");
            return;
        }
        order = static_cast<int>(v);
    }
    auto pit = phases_.find(phaseName);
    if (pit == phases_.end()) {
        // Published files comment out a phase and keep its parameters (COST507's
        // ALSN2ZR5); such a parameter feeds no phase, so it is said, not refused.
        warning(paren + 1, cmd, "parameter for unknown phase '" + phaseName + "' (no PHASE command); ignored");
        return;
    }
    int p = pit->second;
    ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(p)];
    auto fail = [&](size_t at, const std::string& why) { error(at, cmd, why); };  // marks p at the end
    if (!phaseInfo_[static_cast<size_t>(p)].constituents) {
        fail(paren + 1, "phase " + phaseName + " has no constituents");
        return;
    }

    // type code, source table
    int code = -1, kind = 1;
    for (const BuiltinType& bt : kBuiltinTypes)
        if (type == bt.keyword) {
            code = bt.code;
            kind = bt.sourceKind;
        }
    if (code < 0) {
        if (type.size() >= 32) {
            fail(i, "parameter type name longer than 31 characters");
            return;
        }
        code = 10000 + dm_.AddTypeKeyword(type.c_str());
        kind = 3;
        bool property = false;
        for (const char* t : kPropertyTypes) property = property || type == t;
        const CVxPhase& ph = *rec.phase;
        char factor[32];
        std::snprintf(factor, sizeof factor, "%g", ph.m_dAFMFactor);
        if (type == "NT" && !(ph.m_dMagneticP > 0.0 && ph.m_dAFMFactor == 0.0)) {
            // Neel temperatures belong to the magnetic model without an
            // antiferromagnetic factor; with the classic factor they would be ignored
            notEvaluable(p, ph.m_dMagneticP > 0.0
                                ? std::string("NT (Neel temperature) parameters with the classic magnetic model (factor ") +
                                      factor + "); they need a magnetic type definition of factor 0"
                                : "NT (Neel temperature) parameters without a magnetic type definition of factor 0");
        } else if (!property && !PropertyTerms::isModelKeyword(type)) {
            notEvaluable(p, "parameter type " + type + " belongs to a model the kernel does not have");
        }
    } else if (code == 3 || code == 5) {
        notEvaluable(p, "parameter type " + type + " needs phase quantities the evaluation does not set");
    }
    int speciesIndex = -1;
    if (kind == 2) {
        if (speciesName.empty()) {
            fail(paren + 1, type + " needs the diffusing species after '&' (e.g. " + type + "(" + phaseName +
                                "&FE,FE:VA;0))");
            return;
        }
        auto sp = species_.find(speciesName);
        if (sp == species_.end()) {
            fail(paren + 1, "unknown species '" + speciesName + "' after '&'");
            return;
        }
        speciesIndex = rec.gibbs->AddElement(dm_.m_ElementArray[sp->second]);
    } else if (!speciesName.empty()) {
        warning(paren + 1, cmd, "the species after '&' is not used by parameter type " + type);
    }

    // constituents, validated against the phase so that linking cannot fail
    std::vector<std::vector<std::string>> subl(1);
    for (char ch : rest) {
        if (ch == ':')
            subl.emplace_back();
        else if (ch == ',')
            subl.back().emplace_back();
        else if (ch != '%') {
            if (subl.back().empty()) subl.back().emplace_back();
            subl.back().back() += ch;
        }
    }
    const int n = rec.phase->m_nSublatticeCount;
    const bool ionicLiquid = rec.phase->m_nModelType == IonicLiquidPhase::kModelType;
    // G(IONIC_LIQ,S;0): neutrals are written for the second sublattice alone;
    // the cation sublattice is then any cation
    if (ionicLiquid && n == 2 && subl.size() == 1) subl.insert(subl.begin(), std::vector<std::string>{"*"});
    if (ionicLiquid && code != 0) {
        bool property = false;
        for (const char* t : kPropertyTypes) property = property || type == t;
        if (!property) notEvaluable(p, "parameter type " + type + " is not in the ionic-liquid model");
    }
    bool usesConstituents = code != 5 && code != 54;
    std::string normal;
    int entries = 0, interacting = 0, maxPer = 0;
    bool allWild = true;
    if (usesConstituents) {
        if (static_cast<int>(subl.size()) > 8) {
            fail(paren + 1, "more than 8 sublattices");
            return;
        }
        for (size_t s = 0; s < subl.size(); ++s) {
            if (subl[s].empty()) {
                fail(paren + 1, "sublattice " + std::to_string(s + 1) + " has no constituent");
                return;
            }
            std::set<std::string> seen;
            for (const std::string& name : subl[s]) {
                if (name.empty()) {
                    fail(paren + 1, "empty constituent name in sublattice " + std::to_string(s + 1));
                    return;
                }
                if (!seen.insert(name).second) {
                    fail(paren + 1, "constituent '" + name + "' given twice in sublattice " + std::to_string(s + 1));
                    return;
                }
                if (name[0] != '*') allWild = false;
            }
            entries += static_cast<int>(subl[s].size());
            if (subl[s].size() >= 2) ++interacting;
            maxPer = std::max(maxPer, static_cast<int>(subl[s].size()));
        }
        if (static_cast<int>(subl.size()) != n && !(allWild && static_cast<int>(subl.size()) < n)) {
            fail(paren + 1, "phase " + phaseName + " has " + std::to_string(n) + " sublattices, the parameter gives " +
                                std::to_string(subl.size()));
            return;
        }
        if (entries > 10) {
            fail(paren + 1, "more than 10 constituents in one parameter");
            return;
        }
        if (interacting > 3) {
            fail(paren + 1, "more than 3 sublattices with interacting constituents");
            return;
        }
        if (maxPer == 3 && order > 2) {
            fail(paren + 1, "a ternary interaction has the orders 0, 1 and 2 only");
            return;
        }
        if (maxPer == 2 && interacting >= 2 && (order > 2 || (interacting == 3 && order > 0))) {
            // the kernel weights a reciprocal parameter by the differences of the first two
            // interacting sublattices for orders 1 and 2 only
            fail(paren + 1, "a reciprocal parameter of this order is not in the model");
            return;
        }
        if (maxPer > 3 && order > 0) {
            fail(paren + 1, "an interaction of more than three constituents in one sublattice has order 0 only");
            return;
        }
        // Canonical order: the constituents of every sublattice sorted by name, as
        // the published assessments were computed.  The sign of odd Redlich-Kister
        // orders, the member of a ternary parameter, the listing and the duplicate
        // check all follow from it, so L(P,B,A;1) and L(P,A,B;1) are one parameter.
        for (std::vector<std::string>& names : subl) std::sort(names.begin(), names.end());
        for (size_t s = 0; s < subl.size(); ++s) {
            if (s) normal += ':';
            for (size_t k = 0; k < subl[s].size(); ++k) {
                const std::string& name = subl[s][k];
                if (k) normal += ',';
                if (name[0] == '*') {
                    normal += '*';
                    continue;
                }
                normal += name;
                auto sp = species_.find(name);
                if (sp == species_.end() && chargedSpeciesName(name)) {
                    // an ion the file leaves out (C1+1 of a gas); no constituent list can
                    // hold it, so its fraction is zero for good, and a charge is no typo
                    warning(paren + 1, cmd, "'" + name + "' is a charged species the file does not define (no " +
                                                "SPECIES command) and no constituent of phase " + phaseName +
                                                "; the parameter is ignored");
                    return;
                }
                if (sp == species_.end()) {
                    fail(paren + 1, "unknown constituent '" + name + "' (no ELEMENT or SPECIES command)");
                    return;
                }
                int g = rec.gibbs->GetElementIndex(name.c_str());
                if (g < 0 || !rec.phase->Is(static_cast<int>(s), g)) {
                    // its site fraction is zero in this phase for good, so the parameter adds exactly nothing
                    warning(paren + 1, cmd, "'" + name + "' is not a constituent of sublattice " +
                                                std::to_string(s + 1) + " of phase " + phaseName +
                                                "; the parameter is ignored");
                    return;
                }
            }
        }
    }

    std::vector<std::unique_ptr<TThermTPolynom>> pieces;
    std::vector<TreeRange> trees;
    std::vector<int> refs;
    Problem problem;
    if (!readRanges(close + 1, c.end, kind, true, pieces, trees, refs, problem)) {
        fail(problem.offset, problem.message);
        return;
    }
    if (!rangeNote_.message.empty()) warning(rangeNote_.offset, cmd, rangeNote_.message);
    if (!trees.empty()) {
        std::string base = type + "_" + inner;
        for (char& ch : base)
            if (!isAsciiAlnum(ch) && ch != '_') ch = '_';
        attachTrees(base, cmd, pieces, trees, refs);
    }
    for (int r : refs)
        if (!symbolProblem_[static_cast<size_t>(r)].empty()) {
            const std::string& problem = symbolProblem_[static_cast<size_t>(r)];
            size_t at = paren + 1;  // an undefined name: where it stands
            auto uses = freeUses_.find(r < dm_.m_SymbolNames1.m_nSize ? dm_.m_SymbolNames1.m_pData[r].c_str() : "");
            if (uses != freeUses_.end())
                for (size_t u : uses->second)
                    if (u > close && u < c.end) at = u;
            fail(at, problem.rfind("undefined function '", 0) == 0 && db_.dataMgr.m_SymbolNames1.m_nSize > r &&
                                    problem.find(db_.dataMgr.m_SymbolNames1.m_pData[r].c_str()) != std::string::npos
                                ? problem + "; it evaluates once given a value (--set NAME=VALUE or --undefined-as-zero)"
                                : "uses a function that cannot be evaluated: " + problem);
            return;
        }

    TThermFktData* data = new TThermFktData;
    data->m_nSourceKind = kind;
    data->m_nFktType = code;
    data->m_nOrder = order;
    data->m_nSpeciesIndex = speciesIndex;
    data->m_nSourceIndex = dm_.AddSourceText(kind, normal.c_str());
    growByDoubling(dm_.m_FktDataArray);
    int dataIndex = dm_.AddFktData(data);
    TThermFkt* f = new TThermFkt(data);
    f->m_nFktDataIndex = dataIndex;
    f->m_pDataMgr = &dm_;
    f->m_pSymbolMgr = dm_.GetSymbolFktMgr();
    for (auto& piece : pieces) {
        growByDoubling(dm_.m_PolynomArray);
        f->AddPolynom(piece.release());
    }
    growByDoubling(rec.functions->m_FktArray);
    rec.functions->AddFunction(f);
    parameterAt_[data] = c.begin;
    ++report_.parameters;
}

std::vector<size_t> Builder::bindingOrder() const
{
    // A phase with a disordered part comes after the others: the copies of
    // that part's parameters are taken once its wildcards are expanded.
    std::vector<size_t> order;
    for (int pass = 0; pass < 2; ++pass)
        for (size_t p = 0; p < db_.phases.size(); ++p)
            if (phaseInfo_[p].disorderedPart.empty() == (pass == 0)) order.push_back(p);
    return order;
}

void Builder::attachDisorderedPartOf(size_t p)
{
    const std::string& name = phaseInfo_[p].disorderedPart;
    if (name.empty()) return;
    const int d = db_.findPhase(name);
    if (d < 0) {
        notEvaluable(static_cast<int>(p), "its disordered part " + name + " is not a phase of the database");
        return;
    }
    PhasePartition partition;
    const std::string why = planPartition(db_, static_cast<int>(p), d, partition);
    if (!why.empty()) {
        notEvaluable(static_cast<int>(p), why);
        return;
    }
    const CVxPhase& dis = *db_.phases[static_cast<size_t>(d)].phase;
    if (!dis.m_bEvaluable)
        notEvaluable(static_cast<int>(p), "its disordered part " + name + " is not evaluable: " + dis.m_NotEvaluableWhy);
    attachDisorderedPart(db_, static_cast<int>(p), d);
}

void Builder::bind()
{
    TThermFktMgr& symbols = *dm_.GetSymbolFktMgr();
    symbols.LinkSymbols(&dm_, nullptr);
    for (size_t p : bindingOrder()) {
        ThermDatabase::PhaseRecord& rec = db_.phases[p];
        const std::string cmd = std::string("PHASE ") + rec.phase->m_szPhaseName;
        attachDisorderedPartOf(p);
        rec.phase->SetupVariables();
        TThermFktMgr& list = *rec.functions;
        list.LinkSymbols(&dm_, rec.gibbs.get());
        if (list.LinkYPointers(rec.phase.get(), rec.gibbs.get()) < 0) {
            error(phaseInfo_[p].offset, cmd, "its parameters could not be bound to the phase");
            notEvaluable(static_cast<int>(p), "its parameters could not be bound to the phase");
            continue;
        }
        int generated = list.ExpandWildcardFunctions(false);
        if (generated < 0) {
            error(phaseInfo_[p].offset, cmd, "wildcard parameters could not be expanded");
            notEvaluable(static_cast<int>(p), "wildcard parameters could not be expanded");
            continue;
        }
        report_.wildcardsGenerated += generated;
        if (list.LinkYPointers(rec.phase.get(), rec.gibbs.get()) < 0) {
            error(phaseInfo_[p].offset, cmd, "its parameters could not be bound after wildcard expansion");
            notEvaluable(static_cast<int>(p), "its parameters could not be bound to the phase");
            continue;
        }
        for (int k = 0; k < list.m_FktArray.m_nSize; ++k)
            if (list.m_FktArray[k]->m_pFktData->m_bDisabled) {
                notEvaluable(static_cast<int>(p), "a parameter was disabled while binding");
                break;
            }
        reportDuplicates(list);
    }
}

void Builder::reportDuplicates(TThermFktMgr& list)
{
    // Every entry of a list is summed, so a parameter given twice counts
    // twice.  Each repeat is named with both places; past the first hundred
    // only their number is given (a file concatenated with itself repeats
    // everything).
    constexpr int kShown = 100;
    for (const std::vector<int>& group : duplicateGroups(list)) {
        const size_t k = group.size();
        report_.duplicatePairs += static_cast<int>(k * (k - 1) / 2);
        auto where = [&](int i, size_t& offset) {
            auto it = parameterAt_.find(list.m_FktArray[i]->m_pFktData);
            if (it == parameterAt_.end()) return std::string("a parameter generated from a wildcard");
            offset = it->second;
            int line = 0, column = 0;
            src_.position(offset, line, column);
            return src_.fileName() + ":" + std::to_string(line);
        };
        size_t firstOffset = 0;
        std::string first = where(group[0], firstOffset);
        for (size_t r = 1; r < k; ++r) {
            if (++duplicateWarnings_ > kShown) continue;
            size_t offset = firstOffset;
            std::string here = where(group[static_cast<int>(r)], offset);
            myCString name;
            list.m_FktArray[group[r]]->WriteOutFunktion(name, 1);
            warning(offset, std::string("PARAMETER ") + name.c_str(),
                    "defined twice, at " + first + " and at " + here + "; both are summed");
        }
    }
}

void Builder::markPhasesFedByErrors()
{
    for (const auto& [diagnostic, offset] : errorSites_) {
        auto it = std::upper_bound(cuts_.begin(), cuts_.end(), offset,
                                   [](size_t at, const Cut& cut) { return at < cut.begin; });
        if (it == cuts_.begin()) continue;
        const Cut& cut = *(it - 1);
        if (offset > cut.end) continue;  // between commands (a stray character)
        const Diagnostic& d = report_.diagnostics[diagnostic];
        std::string why = (d.command.empty() ? std::string("a command") : d.command) + " at line " +
                          std::to_string(d.line) + ": " + d.message;
        CommandFeeds feeds = commandFeeds(text_, cut.bodyBegin, cut.end, cut.keyword);
        for (const std::string& name : feeds.phaseNames) {
            auto phase = phases_.find(name);
            if (phase != phases_.end()) notEvaluable(phase->second, why);
        }
        if (feeds.typeCode)
            for (size_t p = 0; p < phaseInfo_.size(); ++p)
                if (phaseInfo_[p].codes.find(feeds.typeCode) != std::string::npos)
                    notEvaluable(static_cast<int>(p), why);
    }
}

void Builder::run()
{
    // Commands are taken by kind, not in file order: a file may use a function
    // before defining it, or declare type codes after the phases that use them.
    std::vector<std::vector<std::pair<const Command*, size_t>>> byKind(kKeywordCount);
    // A data command that runs into the next one lost its "!": cut it there, so
    // that the next command is read as written and the loss is named.
    std::vector<Command> commands;
    commands.reserve(src_.commands().size());
    for (Command c : src_.commands()) {
        for (size_t next; (next = runOnCommandStart(text_, c.begin, c.end)) != std::string::npos;) {
            std::string kw = upper(text_.substr(c.begin, afterWord(c.begin, c.end) - c.begin));
            int k = matchKeyword(kw, keywords());
            if (k < 0 || k > kTemperatureLimits) break;  // free text (references, database information)
            Command head = c;
            head.end = next;
            while (head.end > head.begin && isBlank(text_[head.end - 1])) --head.end;
            head.terminated = false;
            commands.push_back(head);
            c.begin = next;
        }
        commands.push_back(c);
    }
    for (size_t n = 0; n < commands.size(); ++n) {
        Command& c = commands[n];
        // a stray character after the previous "!" (such as a quote) is no command of its own
        size_t start = c.begin;
        while (c.begin < c.end && !isAsciiAlpha(text_[c.begin])) ++c.begin;
        if (c.begin != start) {
            warning(start, "", "stray '" + text_.substr(start, 1) + "' before a command ignored");
            if (c.begin == c.end) continue;
        }
        size_t kwEnd = afterWord(c.begin, c.end);
        std::string word = upper(text_.substr(c.begin, kwEnd - c.begin));
        int k = matchKeyword(word, keywords());
        cuts_.push_back(Cut{c.begin, c.end, kwEnd, k >= 0 ? keywords()[static_cast<size_t>(k)] : std::string()});
        if (!c.terminated) {
            std::string message = "missing '!' at the end of the command";
            size_t hidden = src_.commentedBang(c.begin, n + 1 < commands.size() ? commands[n + 1].begin : c.end);
            if (n + 1 < commands.size()) {
                int line = 0, column = 0;
                src_.position(commands[n + 1].begin, line, column);
                message += " (the next command starts at line " + std::to_string(line) + ")";
            }
            if (hidden != std::string::npos) {
                int line = 0, column = 0;
                src_.position(hidden, line, column);
                message += "; the '!' at line " + std::to_string(line) + ", column " + std::to_string(column) +
                           " is inside a '$' comment, which runs to the end of its line";
            }
            error(c.end > c.begin ? c.end - 1 : c.begin, word, message);
            continue;
        }
        if (k == -2) {
            error(c.begin, word, "ambiguous abbreviation of a command");
            continue;
        }
        if (k < 0) {
            warning(c.begin, word, "unknown command; skipped");
            continue;
        }
        byKind[static_cast<size_t>(k)].emplace_back(&c, kwEnd);
    }
    db_.defaultTemperatureLimits = byKind[kTemperatureLimits].empty();
    for (auto& [c, body] : byKind[kTemperatureLimits]) temperatureLimits(*c, body);
    for (auto& [c, body] : byKind[kElement]) element(*c, body);
    for (auto& [c, body] : byKind[kSpecies]) speciesCommand(*c, body);

    // Every function gets its list position before any expression is read, so
    // forward references resolve; a name defined twice keeps its first
    // position and the last definition's ranges (as the reference tool does).
    const auto& functionCommands = byKind[kFunction];
    std::vector<int> positionOf(functionCommands.size(), -1);  // per FUNCTION command: its name's position
    std::vector<size_t> lastDefinition;                         // per position: the command that counts
    symbols_.reserve(functionCommands.size());
    for (size_t e = 0; e < functionCommands.size(); ++e) {
        const auto& entry = functionCommands[e];
        size_t nameEnd = 0;
        std::string name = functionName(*entry.first, entry.second, nameEnd);
        if (name.empty()) {
            error(entry.first->begin, "FUNCTION", "expected a function name");
            continue;
        }
        if (name.size() > 31 || name == "T" || name == "P" || name == "LN" || name == "EXP" || name == "LOG") {
            error(skipBlanks(entry.second, entry.first->end), "FUNCTION " + name, "not a usable function name");
            continue;
        }
        auto [it, added] = symbols_.tryEmplace(name, 0);
        if (added) {
            growByDoubling(dm_.m_FktDataArray);
            growByDoubling(dm_.GetSymbolFktMgr()->m_FktArray);
            dm_.AddSymbolFunction(name.c_str());
            *it = dm_.GetSymbolFktMgr()->m_FktArray.m_nSize - 1;
        } else {
            warning(skipBlanks(entry.second, entry.first->end), "FUNCTION " + name,
                    "function defined again; the last definition is used");
        }
        const size_t position = static_cast<size_t>(*it);
        positionOf[e] = *it;
        if (lastDefinition.size() <= position) lastDefinition.resize(position + 1);
        lastDefinition[position] = e;
        if (symbolOffset_.size() <= position) symbolOffset_.resize(position + 1);
        symbolOffset_[position] = entry.first->begin;
    }
    symbolProblem_.assign(symbols_.size(), std::string());
    symbolRefs_.assign(symbols_.size(), std::vector<int>());
    // Functions are read in passes: one that needs a constant-valued function as
    // a number can be read once that function is known to be constant.
    std::vector<FunctionDefinition> pending;
    for (size_t e = 0; e < functionCommands.size(); ++e)
        if (positionOf[e] >= 0 && lastDefinition[static_cast<size_t>(positionOf[e])] == e)
            pending.push_back({&functionCommands[e], positionOf[e], Problem()});
    // Each function is read after those its text names, so that one needing
    // another as a number finds it known to be constant: a single pass takes
    // a chain of such functions in whatever order the file defines them.  A
    // second pass, for functions in a cycle or that failed otherwise, runs
    // only while the passes find new constants.
    std::vector<size_t> order = readingOrder(pending);
    {
        decltype(pending) ordered;
        ordered.reserve(pending.size());
        for (size_t k : order) ordered.push_back(std::move(pending[k]));
        pending.swap(ordered);
    }
    // Trees are the last resort, once no constant can make a function fit the piece.
    for (bool allowTrees : {false, true}) {
        for (bool progress = true; progress && !pending.empty();) {
            size_t constantsBefore = constants_.size();
            decltype(pending) failed;
            for (auto& p : pending)
                if (!functionBody(p, allowTrees)) failed.push_back(std::move(p));
            pending.swap(failed);
            progress = constants_.size() != constantsBefore;
        }
    }
    for (const FunctionDefinition& p : pending) {
        const Command& c = *p.entry->first;
        size_t nameEnd = 0;
        std::string name = functionName(c, p.entry->second, nameEnd);
        error(p.problem.offset, "FUNCTION " + name, p.problem.message);
        symbolProblem_[static_cast<size_t>(p.position)] =
            "FUNCTION " + name + " at " + lineOf(c.begin) + ": " + p.problem.message;
    }
    orderSymbols();
    propagateSymbolProblems();

    for (auto& [c, body] : byKind[kTypeDefinition]) typeDefinition(*c, body);
    for (auto& [c, body] : byKind[kPhase]) phase(*c, body);
    for (auto& [c, body] : byKind[kConstituent]) constituent(*c, body);
    applyTypeDefinitions();
    for (auto& [c, body] : byKind[kParameter]) parameter(*c, body);
    registerFreeSymbols();
    bind();
    if (duplicateWarnings_ > 100)
        warning(0, "", std::to_string(duplicateWarnings_ - 100) + " more repeated parameters not shown (" +
                           std::to_string(report_.duplicatePairs) + " pairs in all); each definition is summed");
    markPhasesFedByErrors();

    for (const auto& rec : db_.phases) report_.notEvaluablePhases += rec.phase->m_bEvaluable == 0;
    std::stable_sort(report_.diagnostics.begin(), report_.diagnostics.end(),
                     [](const Diagnostic& a, const Diagnostic& b) {
                         return a.line != b.line ? a.line < b.line : a.column < b.column;
                     });
}

}  // namespace

bool readTdbText(const std::string& text, const std::string& fileName, ThermDatabase& db, ReadReport& report,
                 const ReadOptions& options)
{
    db.sourceName = fileName;
    db.sourceDigest = contentDigest(text);
    if (!TdbSource::looksLikeText(text)) {
        Diagnostic d;
        d.file = fileName;
        d.line = 1;
        d.column = 1;
        d.message = "not a text file (it holds NUL or many control bytes); expected a TDB database";
        report.diagnostics.push_back(d);
        return false;
    }
    if (!db.phases.empty() || db.dataMgr.m_ElementArray.m_nSize != 0) {
        Diagnostic d;
        d.file = fileName;
        d.message = "the database to read into is not empty";
        report.diagnostics.push_back(d);
        return false;
    }
    TdbSource src(fileName, text);
    Builder(src, db, report, options).run();
    return true;
}

bool readTdbText(const std::string& text, const std::string& fileName, ThermDatabase& db, ReadReport& report)
{
    return readTdbText(text, fileName, db, report, ReadOptions());
}

bool readTdbFile(const std::string& path, ThermDatabase& db, ReadReport& report)
{
    return readTdbFile(path, db, report, ReadOptions());
}

bool readTdbFile(const std::string& path, ThermDatabase& db, ReadReport& report, const ReadOptions& options)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Diagnostic d;
        d.file = path;
        d.message = std::string("cannot be opened: ") + std::strerror(errno);
        report.diagnostics.push_back(d);
        return false;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    if (in.bad()) {
        Diagnostic d;
        d.file = path;
        d.message = "could not be read completely";
        report.diagnostics.push_back(d);
        return false;
    }
    return readTdbText(buffer.str(), path, db, report, options);
}

}  // namespace tdb
