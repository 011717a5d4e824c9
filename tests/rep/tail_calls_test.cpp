// Self-calls at the end of a function: which become jumps, how, and which stay.
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

#include <functional>

using ::testing::HasSubstr;
using ::testing::Not;

// int f(int a, int b, int c): the variables of the body bear the names of the parameters.
class TailCalls : public CfgTest {
protected:
    void SetUp() override {
        CfgTest::SetUp();
        declare(int_t);
        gvar = global("_v", 2, int_t);
        finfo = open_memstream(&info_text, &info_size);
        write_opt_info = 1;
    }
    void TearDown() override {
        write_opt_info = 0;
        std::fclose(finfo);
        finfo = nullptr;
        std::free(info_text);
        CfgTest::TearDown();
    }

    // The parameters anew, with b of another type.
    void declare(TYPE *type_of_b) {
        currfuninfo->symbols = nullptr;
        passed.clear();
        body.clear();
        for (const char *parameter : {"a", "b", "c"}) {
            TYPE *type = *parameter == 'b' ? type_of_b : int_t;
            passed.push_back(level(parameter, type, 1));
            body.push_back(level(parameter, type, 2));
            sym_def(passed.back());
            sym_def(body.back());
        }
    }
    NODE *pass(std::size_t n) { return asg(name(body[n]), name(passed[n])); }
    NODE *prolog() { return comma(comma(pass(0), pass(1), OP::PCOMMA), pass(2), OP::PCOMMA); }
    NODE *arg(std::size_t n) { return name(body[n]); }
    NODE *plus(NODE *left, NODE *right) { return tree(OP::PLUS, int_t, left, right); }
    NODE *self(std::initializer_list<NODE *> args, unsigned extra = 0, unsigned eht_id = 0) {
        return call(currfunc, args, extra, eht_id);
    }
    NODE *self() { return self({arg(0), arg(1), icon(1)}); }
    NODE *post_increment(SYMTAB *sym) { return tree(OP::PLUSPLUS, int_t, name(sym), icon(1)); }

    static bool calls_itself() {
        for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
            for (const LIST *cell = bb->statements; cell; cell = cell->rest)
                if (has_self_call(cell->first)) return true;
        return false;
    }
    static bool has_self_call(const NODE *tree) {
        if (!tree) return false;
        if (get_callee_for_call(tree) == currfunc) return true;
        return has_self_call(tree->left) || has_self_call(tree->right);
    }
    std::string info() {
        std::fflush(finfo);
        std::string text(info_text + info_read, info_size - info_read);
        info_read = info_size;
        return text;
    }

    std::vector<SYMTAB *> passed, body;
    SYMTAB *gvar = nullptr;

private:
    char *info_text = nullptr;
    std::size_t info_size = 0, info_read = 0;
};

TEST_F(TailCalls, ReturnedValue) {
    build({prolog(), unless(body[0], 1), ret(self({arg(1), arg(0), icon(3)})), def(1),
           ret(name(body[2]))});
    // The swap of a and b goes through a temporary.
    EXPECT_EQ(graph(), "1 (): a = a, b = b, c = c; goto 2\n"
                       "2 (3 1): if a 3 else 4\n"
                       "3 (2): comment; $O$R1 = b; b = a; c = 3; a = $O$R1; goto 2\n"
                       "4 (2): return c\n"
                       "5 (): leave\n");
    expect_sound();
    EXPECT_STREQ(block(3)->statements->first->u.asm_.text,
                 "***\t; tail recursive call occurs here");
    EXPECT_EQ(block(3)->statements->first->u.asm_.kind, 47u);
    EXPECT_EQ(block(3)->statements->psn->line, 3u);
    EXPECT_EQ(info(), "\n  ===> Tail recursive self-call removed at line 3: f\n\n");
}

TEST_F(TailCalls, DroppedValue) {
    currfuninfo->return_type = void_t;
    // One falls off the end, one leaves, one goes the long way.
    build({prolog(), unless(body[0], 1), self({icon(1), icon(2), icon(3)}), leave(), def(1),
           unless(body[1], 2), self({icon(4), icon(5), icon(6)}), jump(3), def(2),
           self({icon(7), icon(8), icon(9)}), jump(4), def(4), def(3)});
    EXPECT_EQ(graph(), "1 (): a = a, b = b, c = c; goto 2\n"
                       "2 (6 5 3 1): if a 3 else 4\n"
                       "3 (2): comment; a = 1; b = 2; c = 3; goto 2\n"
                       "4 (2): if b 5 else 6\n"
                       "5 (4): comment; a = 4; b = 5; c = 6; goto 2\n"
                       "6 (4): comment; a = 7; b = 8; c = 9; goto 2\n"
                       "7 (): leave\n");
    EXPECT_EQ(info(), "\n  ===> Tail recursive self-call removed at line 3: f\n\n"
                      "\n  ===> Tail recursive self-call removed at line 7: f\n\n"
                      "\n  ===> Tail recursive self-call removed at line 10: f\n\n");
}

TEST_F(TailCalls, WholeBody) {
    build({prolog(), ret(self())});
    EXPECT_EQ(graph(), "1 (): a = a, b = b, c = c; goto 2\n"
                       "2 (2 1): comment; c = 1; goto 2\n"
                       "3 (): leave\n");
    expect_sound();
}

TEST_F(TailCalls, ArgumentsKeepTheirOrder) {
    const struct {
        const char *title;
        std::function<NODE *()> call;
        const char *statements;
    } cases[] = {
        {"each its own",
         [this] {
             return self({plus(arg(0), icon(1)), plus(arg(1), icon(1)), arg(2)});
         },
         "a = a + 1; b = b + 1; "},
        {"used by a later one",
         [this] {
             return self({plus(arg(0), icon(1)), arg(0), arg(1)});
         },
         "T = a + 1; U = a; c = b; a = T; b = U; "},
        {"rotated",
         [this] {
             return self({arg(2), arg(0), arg(1)});
         },
         "T = c; U = a; c = b; a = T; b = U; "},
        {"changed by a later one",
         [this] {
             return self({arg(0), post_increment(body[0]), arg(2)});
         },
         "U = a; b = a++; a = U; "},
        {"changed by an earlier one",
         [this] {
             return self({post_increment(body[1]), arg(1), arg(2)});
         },
         "a = b++; "},
        {"a call among them",
         [this] {
             return self({call(g, {arg(1)}), icon(1), arg(2)});
         },
         "a = _g(b); b = 1; "},
        {"a self-call among them",
         [this] {
             return self({self(), icon(1), arg(2)});
         },
         "a = _f(a, b, 1); b = 1; "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        erase_function_body(currfuninfo);
        currfuninfo->temp_counter = 0;
        build({prolog(), set(j, 1), ret(c.call())});
        std::string found = graph();
        for (std::size_t at; (at = found.find("$O$R")) != std::string::npos;)
            found.replace(at, 5, found[at + 4] == '1' ? "U" : "T");
        const std::string expected = std::string("1 (): a = a, b = b, c = c; goto 2\n"
                                                 "2 (2 1): j = 1; comment; ") +
                                     c.statements + "goto 2\n3 (): leave\n";
        EXPECT_EQ(found, expected);
    }
}

TEST_F(TailCalls, UnusedParameterKeepsItsEffects) {
    build({comma(pass(0), pass(2), OP::PCOMMA), ret(self({icon(1), call(g, {}), icon(3)}))});
    EXPECT_EQ(graph(), "1 (): a = a, c = c; goto 2\n"
                       "2 (2 1): comment; a = 1; _g(); c = 3; goto 2\n"
                       "3 (): leave\n");
    build(
        {comma(pass(0), pass(2), OP::PCOMMA), ret(self({icon(1), plus(arg(0), arg(2)), icon(3)}))});
    EXPECT_EQ(graph(), "1 (): a = a, c = c; goto 2\n"
                       "2 (2 1): comment; a = 1; c = 3; goto 2\n"
                       "3 (): leave\n");
}

TEST_F(TailCalls, RefusedUnlessNobodyCanTell) {
    SYMTAB *setjmp = global("_setjmp", 5, function_type);
    const struct {
        const char *title;
        std::function<void()> make;
    } cases[] = {
        {"address of a parameter",
         [&] {
             build({prolog(), asg(name(p), address(arg(1))), ret(self())});
         }},
        {"address of a local",
         [&] {
             build({prolog(), call(g, {address(name(a))}), ret(self())});
         }},
        {"address of a member of a local",
         [&] {
             build({prolog(), call(g, {address(tree(OP::STDOT, int_t, name(s), field()))}),
                    ret(self())});
         }},
        {"address among the arguments",
         [&] {
             build({prolog(), ret(self({address(arg(0)), arg(1), arg(2)}))});
         }},
        {"address in dead code",
         [&] {
             build({prolog(), ret(self()), asg(name(p), address(arg(1)))});
         }},
        {"passed parameter used in the body",
         [&] {
             build({prolog(), asg(name(i), name(passed[0])), ret(self())});
         }},
        {"assembly",
         [&] {
             build({prolog(), assembly(" nop", 36), ret(self())});
         }},
        {"setjmp",
         [&] {
             build({prolog(), call(setjmp, {}), ret(self())});
         }},
        {"no prolog",
         [&] {
             build({set(i, 1), ret(self())});
         }},
        {"single assignment for a prolog",
         [&] {
             build({pass(0), ret(self())});
         }},
        {"prolog of another shape",
         [&] {
             build({comma(comma(pass(0), asg(name(i), icon(1)), OP::PCOMMA), pass(2), OP::PCOMMA),
                    ret(self())});
         }},
        {"parameter named twice",
         [&] {
             build({comma(comma(pass(0), pass(1), OP::PCOMMA), pass(1), OP::PCOMMA), ret(self())});
         }},
        {"too few arguments",
         [&] {
             build({prolog(), ret(self({arg(0), arg(1)}))});
         }},
        {"no arguments",
         [&] {
             build({prolog(), ret(self({}))});
         }},
        {"too many arguments",
         [&] {
             build({prolog(), ret(self({arg(0), arg(1), arg(2), icon(1)}))});
         }},
        {"extra arguments",
         [&] {
             build({prolog(), ret(self({arg(0), arg(1), arg(2)}, 1))});
         }},
        {"argument of another type",
         [&] {
             build({prolog(), ret(self({arg(0), icon(1, short_t), arg(2)}))});
         }},
        {"exception entry",
         [&] {
             build({prolog(), ret(self({arg(0), arg(1), arg(2)}, 0, 1))});
         }},
        {"exception table",
         [&] {
             put({prolog(), ret(self())});
             currfuninfo->eht = new EHT_ENTRY[2];
             currfuninfo->eht_size = 2;
             buildcfg();
         }},
        {"value used",
         [&] {
             build({prolog(), ret(plus(self(), icon(1)))});
         }},
        {"value kept",
         [&] {
             build({prolog(), asg(name(i), self()), ret(name(i))});
         }},
        {"something follows",
         [&] {
             build({prolog(), self(), set(j, 1)});
         }},
        {"a loop follows",
         [&] {
             build({prolog(), self(), def(1), jump(1)});
         }},
        {"another function",
         [&] {
             build({prolog(), ret(call(g, {arg(0), arg(1), arg(2)}))});
         }},
        {"class returned",
         [&] {
             currfuninfo->return_type = struct_t;
             NODE *value = self();
             value->type = struct_t;
             build({prolog(), ret(value)});
         }},
        {"interrupt function",
         [&] {
             currfuninfo->flags |= FUN_is_interrupt;
             build({prolog(), ret(self())});
         }},
        {"volatile parameter",
         [&] {
             body[1]->type = tp->mk_qual(int_t, TQ_volatile);
             build({prolog(), ret(self())});
         }},
        {"const parameter",
         [&] {
             body[1]->type = tp->mk_qual(int_t, TQ_const);
             build({prolog(), ret(self())});
         }},
        {"restrict parameter",
         [&] {
             declare(tp->mk_qual(int_p, TQ_restrict));
             build({prolog(), ret(self())});
         }},
        {"class parameter",
         [&] {
             declare(struct_t);
             build({comma(pass(0), pass(2), OP::PCOMMA), ret(self())});
         }},
        {"static variable for a parameter",
         [&] {
             body[1]->sc = 3;
             build({prolog(), ret(self())});
         }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        erase_function_body(currfuninfo);
        currfuninfo->return_type = int_t;
        currfuninfo->flags = 0;
        declare(int_t);
        c.make();
        EXPECT_THAT(graph(), Not(HasSubstr("comment"))) << graph();
        EXPECT_EQ(info(), "");
        expect_sound();
    }
    // What these cases differ from.
    for (TYPE *type_of_b : {int_t, int_p}) {
        erase_function_body(currfuninfo);
        currfuninfo->return_type = int_t;
        currfuninfo->flags = 0;
        declare(type_of_b);
        build({prolog(), asg(name(p), address(name(gvar))), assembly("* note", 47), call(g, {}),
               ret(self())});
        EXPECT_FALSE(calls_itself()) << graph();
    }
}

TEST_F(TailCalls, OneOfTwoStays) {
    build({prolog(), unless(body[0], 1), ret(self()), def(1), ret(self({arg(0), arg(1)}))});
    EXPECT_TRUE(calls_itself());
    EXPECT_THAT(graph(), HasSubstr("comment; c = 1; goto 2"));
    EXPECT_EQ(info(), "\n  ===> Tail recursive self-call removed at line 3: f\n\n");
}

TEST_F(TailCalls, VariadicFunction) {
    TYPE *open = tp->type_frozen(tp->mk_func(int_t, true, true, 0, false));
    currfunc->type = currfunc->otype = open;
    build({prolog(), ret(self())});
    EXPECT_TRUE(calls_itself());
}
