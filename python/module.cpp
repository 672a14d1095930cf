// _thermkernel: the extension module under the Python package thermkernel.
// It holds the C interface's handles and moves NumPy arrays in and out; the
// checks of shapes and the Python-side errors are the package's business
// (thermkernel/__init__.py).  Evaluations release the GIL: each call takes an
// evaluation context of its own from the database's pool.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>
#include <utility>
#include <vector>

#include "thermkernel.h"

namespace py = pybind11;

namespace {

// A failed call of the C interface: its status and message.
struct Failure
{
    int status;
    std::string message;
};

using Array = py::array_t<double, py::array::c_style | py::array::forcecast>;

class Database
{
public:
    Database(const std::string& path, bool strict)
    {
        const int status = tk_database_open(path.c_str(), strict ? TK_OPEN_STRICT : 0, &db_);
        if (status != TK_OK) {
            Failure f{status, tk_database_message(db_)};
            tk_database_close(db_);
            db_ = nullptr;
            throw f;
        }
        if (tk_context_create(db_, &info_) != TK_OK) {
            tk_database_close(db_);
            throw Failure{TK_ERROR_INTERNAL, "cannot create an evaluation context"};
        }
    }
    ~Database()
    {
        for (tk_context* c : pool_) tk_context_free(c);
        tk_context_free(info_);
        tk_database_close(db_);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    std::vector<std::pair<bool, std::string>> diagnostics() const
    {
        int count = 0;
        tk_database_diagnostic_count(db_, &count);
        std::vector<std::pair<bool, std::string>> out;
        for (int i = 0; i < count; ++i) {
            int isError = 0;
            const char* text = nullptr;
            tk_database_diagnostic(db_, i, &isError, &text);
            out.emplace_back(isError != 0, text);
        }
        return out;
    }

    std::pair<double, double> limits()
    {
        double low = 0, high = 0;
        check(info_, tk_temperature_limits(info_, &low, &high));
        return {low, high};
    }

    std::vector<std::string> phases()
    {
        int count = 0;
        check(info_, tk_phase_count(info_, &count));
        std::vector<std::string> names;
        for (int p = 0; p < count; ++p) {
            const char* name = nullptr;
            check(info_, tk_phase_name(info_, p, &name));
            names.emplace_back(name);
        }
        return names;
    }

    int findPhase(const std::string& name)
    {
        int phase = -1;
        check(info_, tk_phase_find(info_, name.c_str(), &phase));
        return phase;
    }

    // name, evaluable, why, site ratios, variables as (sublattice, name)
    py::tuple describe(int phase)
    {
        const char *name = nullptr, *why = nullptr;
        int evaluable = 0, sublattices = 0, variables = 0;
        check(info_, tk_phase_name(info_, phase, &name));
        check(info_, tk_phase_evaluable(info_, phase, &evaluable, &why));
        check(info_, tk_phase_sublattice_count(info_, phase, &sublattices));
        std::vector<double> sites(static_cast<size_t>(sublattices));
        for (int s = 0; s < sublattices; ++s) check(info_, tk_phase_site_ratio(info_, phase, s, &sites[static_cast<size_t>(s)]));
        check(info_, tk_phase_variable_count(info_, phase, &variables));
        std::vector<std::pair<int, std::string>> vars;
        for (int v = 0; v < variables; ++v) {
            int s = 0;
            const char* var = nullptr;
            check(info_, tk_phase_variable(info_, phase, v, &s, &var));
            vars.emplace_back(s, var);
        }
        return py::make_tuple(std::string(name), evaluable != 0, std::string(why), sites, vars);
    }

    std::vector<std::string> functions()
    {
        int count = 0;
        check(info_, tk_function_count(info_, &count));
        std::vector<std::string> names;
        for (int f = 0; f < count; ++f) {
            const char* name = nullptr;
            check(info_, tk_function_name(info_, f, &name));
            names.emplace_back(name);
        }
        return names;
    }

    // Value and two T derivatives of a symbol function at the temperatures T (1-D).
    py::tuple function(const std::string& name, const Array& T, double P)
    {
        int f = -1;
        check(info_, tk_function_find(info_, name.c_str(), &f));
        const size_t n = static_cast<size_t>(T.size());
        Array value(n), dT(n), dT2(n);
        Pooled ctx(*this);
        int status = TK_OK;
        {
            py::gil_scoped_release release;
            status = tk_function_evaluate(ctx.get(), f, n, T.data(), P, value.mutable_data(), dT.mutable_data(),
                                          dT2.mutable_data());
        }
        check(ctx.get(), status);
        return py::make_tuple(value, dT, dT2);
    }

    // Evaluates phase at T (1-D: 1 value or one per point) and y (2-D
    // points x variables, or 1 x variables for one composition at every T).
    py::dict evaluate(int phase, const Array& T, const py::array_t<double>& y, size_t points, int order, double P)
    {
        int n = 0;
        check(info_, tk_phase_variable_count(info_, phase, &n));
        if (y.ndim() != 2 || y.shape(1) != n || (y.shape(0) != 1 && static_cast<size_t>(y.shape(0)) != points))
            throw Failure{TK_ERROR_ARGUMENT, "y must be points x variables, or 1 x variables"};
        const ptrdiff_t pointStride = y.shape(0) == 1 ? 0 : y.strides(0) / static_cast<ptrdiff_t>(sizeof(double));
        const ptrdiff_t variableStride = y.strides(1) / static_cast<ptrdiff_t>(sizeof(double));
        py::dict out;
        tk_outputs o{};
        auto make = [&](const char* key, std::vector<py::ssize_t> shape) {
            py::array_t<double> a(shape);
            out[key] = a;
            return a.mutable_data();
        };
        o.G = make("G", {static_cast<py::ssize_t>(points)});
        o.GM = make("GM", {static_cast<py::ssize_t>(points)});
        if (order >= 1) {
            o.dG_dT = make("dG_dT", {static_cast<py::ssize_t>(points)});
            o.dG_dy = make("dG_dy", {static_cast<py::ssize_t>(points), n});
            o.SM = make("SM", {static_cast<py::ssize_t>(points)});
            o.HM = make("HM", {static_cast<py::ssize_t>(points)});
        }
        if (order >= 2) {
            o.d2G_dT2 = make("d2G_dT2", {static_cast<py::ssize_t>(points)});
            o.hessian = make("hessian", {static_cast<py::ssize_t>(points), n + 1, n + 1});
            o.CPM = make("CPM", {static_cast<py::ssize_t>(points)});
        }
        Pooled ctx(*this);
        int status = TK_OK;
        {
            py::gil_scoped_release release;
            status = tk_evaluate(ctx.get(), phase, points, T.data(), static_cast<size_t>(T.size()), P, y.data(),
                                 pointStride, variableStride, order, &o);
        }
        check(ctx.get(), status);
        return out;
    }

private:
    // An evaluation context taken from the pool for one call (under the GIL)
    // and given back after it.
    class Pooled
    {
    public:
        explicit Pooled(Database& db) : db_(db)
        {
            if (!db.pool_.empty()) {
                ctx_ = db.pool_.back();
                db.pool_.pop_back();
            } else if (tk_context_create(db.db_, &ctx_) != TK_OK) {
                throw Failure{TK_ERROR_INTERNAL, "cannot create an evaluation context"};
            }
        }
        ~Pooled() { db_.pool_.push_back(ctx_); }
        tk_context* get() const { return ctx_; }

    private:
        Database& db_;
        tk_context* ctx_ = nullptr;
    };

    static void check(tk_context* ctx, int status)
    {
        if (status != TK_OK) throw Failure{status, tk_context_message(ctx)};
    }

    tk_database* db_ = nullptr;
    tk_context* info_ = nullptr;        //!< for the questions about the database (under the GIL)
    std::vector<tk_context*> pool_;     //!< contexts free for evaluations
};

}  // namespace

PYBIND11_MODULE(_thermkernel, m)
{
    m.doc() = "Extension module of thermkernel; use the package, not this module.";
    static py::exception<Failure> failure(m, "Failure");
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const Failure& f) {
            PyErr_SetObject(failure.ptr(), py::make_tuple(f.status, f.message).ptr());
        }
    });
    m.attr("OK") = py::int_(static_cast<int>(TK_OK));
    m.attr("ERROR_ARGUMENT") = py::int_(static_cast<int>(TK_ERROR_ARGUMENT));
    m.attr("ERROR_INPUT") = py::int_(static_cast<int>(TK_ERROR_INPUT));
    m.attr("ERROR_NAME") = py::int_(static_cast<int>(TK_ERROR_NAME));
    m.attr("ERROR_FILE") = py::int_(static_cast<int>(TK_ERROR_FILE));
    m.attr("ERROR_NOT_EVALUABLE") = py::int_(static_cast<int>(TK_ERROR_NOT_EVALUABLE));
    m.attr("ERROR_RANGE") = py::int_(static_cast<int>(TK_ERROR_RANGE));
    m.attr("ERROR_INTERNAL") = py::int_(static_cast<int>(TK_ERROR_INTERNAL));
    m.attr("SUM_TOLERANCE") = py::float_(TK_SUM_TOLERANCE);

    py::class_<Database>(m, "Database")
        .def(py::init<const std::string&, bool>(), py::arg("path"), py::arg("strict"))
        .def("diagnostics", &Database::diagnostics)
        .def("limits", &Database::limits)
        .def("phases", &Database::phases)
        .def("find_phase", &Database::findPhase)
        .def("describe", &Database::describe)
        .def("functions", &Database::functions)
        .def("function", &Database::function)
        .def("evaluate", &Database::evaluate);
}
