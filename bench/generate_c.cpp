#include "bench/generate_c.h"

#include <array>
#include <initializer_list>
#include <random>

namespace {
// The elements of a braced list are evaluated in order, so random picks come in the same order
// under every compiler.
std::string join(std::initializer_list<std::string> parts) {
    std::string all;
    for (const std::string &part : parts)
        all += part;
    return all;
}

class generator {
public:
    generator(int functions, unsigned seed) : functions_(functions), random_(seed) {}

    std::string text() {
        declarations();
        for (int i = 0; i < functions_; ++i)
            function(i, 18);
        main_function();
        return out_;
    }

    std::string long_function(int statements) {
        declarations();
        function(0, statements);
        main_function();
        return out_;
    }

private:
    void declarations() {
        out_ = "struct item { int key; short tag, flags; struct item *next; unsigned bits : 5, "
               "rest : 11; };\n"
               "static int table[256];\nstatic struct item items[64];\nint total, calls;\nshort "
               "samples[512];\n\n";
    }
    void main_function() {
        out_ += "int main(void) {\n    struct item *p = items;\n    int r = 0;\n";
        for (int i = functions_ > 50 ? functions_ - 50 : 0; i < functions_; ++i)
            out_ += "    r += work" + std::to_string(i) + "(r, " + number(100) + ", p);\n";
        out_ += "    return r & 1;\n}\n";
    }
    unsigned pick(unsigned n) { return static_cast<unsigned>(random_() % n); }
    std::string number(unsigned n) { return std::to_string(pick(n)); }
    std::string variable() {
        static constexpr std::array names = {"a",    "b", "x", "y", "z", "p->key", "table[x & 255]",
                                             "total"};
        return names[pick(names.size())];
    }
    std::string scalar() {
        static constexpr std::array names = {"a", "b", "x", "y", "z"};
        return names[pick(names.size())];
    }

    std::string expression(int depth) {
        if (depth == 0) return pick(3) == 0 ? number(1000) : variable();
        static constexpr std::array operators = {" + ", " - ", " * ", " & ", " | ", " ^ "};
        switch (pick(10)) {
        case 0: return join({"(", expression(depth - 1), " << ", number(8), ")"});
        case 1:
            return join({"(", expression(depth - 1), " < ", expression(depth - 1), " ? ", scalar(),
                         " : ", number(50), ")"});
        case 2: return "(int)samples[" + scalar() + " & 511]";
        case 3: return "(-" + expression(depth - 1) + ")";
        default:
            return join({"(", expression(depth - 1), operators[pick(operators.size())],
                         expression(depth - 1), ")"});
        }
    }

    void line(const std::string &text) {
        out_.append(static_cast<std::size_t>(indent_) * 4, ' ').append(text) += '\n';
    }

    void statement(int self, int depth) {
        switch (pick(depth > 0 ? 9 : 4)) {
        case 0:
        case 1: line(join({scalar(), " = ", expression(3), ";"})); break;
        case 2:
            line(join(
                {"table[(", scalar(), " + ", number(256), ") & 255] += ", expression(2), ";"}));
            break;
        case 3:
            line(join({"p->tag = (short)(", expression(2), "), p->bits = ", scalar(), " & 31;"}));
            break;
        case 4:
            line(join({"if (", expression(2), " > ", expression(1), ") {"}));
            body(self, depth, 2);
            line("} else {");
            body(self, depth, 1);
            line("}");
            break;
        case 5:
            line(join({"for (i = 0; i < ", number(40), "; i++) {"}));
            body(self, 0, 2);
            line("}");
            break;
        case 6:
            line(join({"switch (", scalar(), " & 7) {"}));
            for (int c = 0; c < 4; ++c) {
                line(join({"case ", std::to_string(c * 2), ":"}));
                body(self, 0, 1);
                line("    break;");
            }
            line("default: z++;");
            line("}");
            break;
        case 7:
            if (self > 0)
                line(join({"z += work", std::to_string(pick(static_cast<unsigned>(self))), "(",
                           expression(1), ", ", scalar(), ", p);"}));
            else
                line("calls++;");
            break;
        default:
            line(join({"while (p->next && ", scalar(), " > p->key) {"}));
            body(self, 0, 1);
            line("    p = p->next;");
            line("}");
        }
    }

    void body(int self, int depth, int statements) {
        ++indent_;
        for (int i = 0; i < statements; ++i)
            statement(self, depth - 1);
        --indent_;
    }

    void function(int self, int statements) {
        line(join({"static int work", std::to_string(self), "(int a, int b, struct item *p) {"}));
        ++indent_;
        line(join({"int i, x = a * ", number(100), ", y = b - ", number(100), ", z = 0;"}));
        for (int i = 0; i < statements; ++i)
            statement(self, 2);
        line("return x + y * z;");
        --indent_;
        line("}\n");
    }

    int functions_;
    std::mt19937 random_; // its sequence is fixed by the standard
    std::string out_;
    int indent_ = 0;
};
} // namespace

std::string generate_c_program(int functions, unsigned seed) {
    return generator(functions, seed).text();
}

std::string generate_long_function(int statements, unsigned seed) {
    return generator(1, seed).long_function(statements);
}
