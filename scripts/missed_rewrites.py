#!/usr/bin/python3
"""Looks for rewrites of expressions that LLVM's instruction combiner has and quillopt has not.

Many small functions, each one expression of the shapes that programmers write, are compiled by both;
what each function's code costs by the machine's table is compared. The shapes are those of
tests/simp/patterns.def, those of SHAPES below, both also put into one another, and random ones as a
program generator writes them. Prints for each group the functions where quillopt's code costs more,
the shortest first, and the geometric means of the ratios."""
import argparse
import math
import pathlib
import random
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BIN = ROOT / "build" / "bin"
OUT = ROOT / "out" / "bench"
PASSES = "mem2reg,instcombine,simplifycfg,early-cse,reassociate,instcombine"
CLANG = ["clang-14", "-w", "-O0", "-Xclang", "-disable-O0-optnone", "-emit-llvm", "-c", "-fwrapv"]

# The letters are those of tests/simp/tree_generator.h: x y z variables, A B C constants, P Q powers
# of two, M masks of low bits, k m n counts, c C s S i I f t v casts.
SHAPES = {
    "masks": """x&~(x&A)  x-(x&A)  (x&A)==A  (x&A)!=A  (x&P)!=P  (x|A)==x  (x&A)==x  (x&y)==x
        (x|y)==x  (x&y)==y  (x|y)!=y  (x&~y)==0  (x&~A)==0  (x&A)|(x&~A)  (x&A)+(x&~A)  (x|A)&~A
        (x&A)-x  (x^A)-(x&A)  x&(x^A)  x&~(x^y)  (x|y)-(x&y)  (x|y)-x  (x|y)-y  (x^y)+(x&y)*2
        (x&y)+(x^y)  (x&A)|(y&~A)  ((x^y)&A)^y  (x^y)^(x|y)  (x|y)&~(x&y)  (x&~y)|(~x&y)
        (x&y)|(~x&~y)  ~(x&~y)  ~(~x|y)  ~(~x&y)  ~x|(x&y)  (x|~y)&y  (x^~y)  ~(x^y)^y  x+(x&P)
        (x|P)-P  (x|P)^P  (x&P)==0  !(x&P)  (x&P)>>k  ((x&P)!=0)  (x&1)==1  (x%2)==1  (x%2)!=0
        x%2==0  (x&1)?A:B  (x&1)?P:0  (x&P)?A:B  (x&P)?x:x|P  (x&P)?x&~P:x  (x&P)?x^P:x|P
        (x&A)?x:0  -(x&1)  -(x&P)  (x&1)*y  (x&1)*A  (x&P)*A  (x>>k&1)*y  (x&y&A)|(x&y&B)""",
    "fields": """(x>>k)&M  (x&M)<<k  (x&~(M<<k))|((y&M)<<k)  (x>>k&M)<<k  ((x>>k)&M)==A  ((x>>k)&1)!=0
        ((x>>k)&1)==0  (x>>k&M)|(y>>k&M)  ((x&M)<<k)|((x>>k)&M)  (x<<k)|(y&M)  (x&A)|(y<<k)
        ((x&M)|(y<<k))&M  ((x&M)|(y<<k))>>k  (s)(x>>16)  (S)(x>>16)  (x<<16)|(S)y  (x&65535)|(y<<16)
        ((I)x<<k)>>k  ((i)x<<k)>>k  (i)((I)x<<k)>>n  (x>>k)!=(y>>k)  (x>>k)==(y>>k)  (x<<k)==(y<<k)
        ((x^y)>>k)&1  ((x^y)&M)==0  (x&M)==(y&M)  (x&M)!=(y&M)  ((x>>k)^(y>>k))  ((x>>k)+(1<<n))
        (x|(1<<k))  (x&~(1<<k))  (x^(1<<k))  (x>>y)&1  ((x>>y)&1)!=0  (x&(1<<y))!=0  (1<<y)&x?A:B
        x|(1<<y)  x&~(1<<y)  (1<<y)==P  (1<<y)==0  (1<<x)-1  x&((1<<y)-1)  (x<<y)==0  (x>>y)==0
        (A>>x)==0  (P<<x)!=0  (x<<k)+(y<<k)  (x<<k)-(y<<k)  (x>>k<<k)  x-(x>>k<<k)  (x<<k>>k)==x
        ((S)x>>8)|((S)x<<8)  ((x>>8)&255)|((x&255)<<8)  (x&255)<<8  (x>>8)&255  (x<<8)&65280""",
    "extensions": """(i)(s)x  (I)(S)x  (i)(S)x  (I)(s)x  (s)x==x  (S)x==x  (s)x!=(s)y  (S)x==(S)y
        (s)x<A  (S)x<A  (s)x+(s)y  (s)((s)x+(s)y)  (S)((S)x+(S)y)  (S)((S)x-A)<B  (s)((s)x+A)==B
        (s)(x<<16>>16)  (x<<16>>16)==x  x<<16>>16  (I)x<<16>>16  (x<<16)>>k  ((x&65535)^32768)-32768
        ((x&255)^128)-128  (x&32767)-(x&32768)  (s)x<0  (S)x>32767  (x&32768)!=0  (x&32768)?-1:0
        (s)x>>15  (S)x>>15  (i)(S)(s)x  (s)(S)x  (s)(i)(S)x  (S)(x&A)  (S)(x|A)==B  (s)~x  (S)~x
        (S)-x  (s)(x*y)  (S)(x*A)  (S)x*(S)y  (i)((s)x*(s)y)  (s)(x/A)  (S)((S)x/A)  (S)((S)x%A)
        (S)((S)x>>k)  (s)((s)x>>k)  (S)((S)x<<k)  ((S)x<<k)>>n  (I)(S)x>>k  (i)(x<y)  (S)(x<y)
        (s)-(x<y)  -(i)(x<y)  (x<y)*A  (x<y)*y  (x<y)<<k  (x<y)+(y<z)  (x<y)-(y<x)  (x>0)-(x<0)
        (x!=0)-(x<0)  (x<0)?-1:(x>0)  (x<0)?-1:(x>0?1:0)  (x<y)?-1:(x>y)  (x<y)?-1:x>y?1:0""",
    "comparisons": """x>=A&&x<=B  x<A||x>B  x>A&&x<=B  x>=A&x<=B  (I)(x-A)<=B  x-A<B  x+A>B  x+A>x  x-A<x
        x+y>x  x+y<x  x-y>x  x-y==x  x-y==y  x+y==y  x*2==0  x+x==0  x==-x  x!=-x  x==~x  ~x<~y
        -x<-y  ~x==A  ~x>A  ~x>y  -x>0  -x<0  x-1<x  x+1==y+1  x+A==y+A  x-y>0  x-y!=0  (x^y)<0
        (x^y)>=0  (x^y)==y  (x^A)==B  (x^A)<0  (x|y)<0  (x&y)<0  (x|y)==0  (x|y)!=0  (x|A)<0
        (x&P)<0  (x&~M)==0  (x&~M)!=0  (x&M)==x  (x&M)!=x  (x&~M)==A  (x>>k)==0  (x>>k)!=0  (x>>k)>0
        (x<<1)<0  (x<<k)<0  (x>>k)<0  (x>>31)==(y>>31)  (x>>31)!=0  (x<0)==(y<0)  (x<0)!=(y<0)
        (x<0)^(y<0)  (x<0)&(y<0)  (x<0)|(y<0)  (x==0)&(y==0)  (x==0)|(y!=0)  (x==0)==(y==0)
        (x!=0)!=(y!=0)  !x==!y  !x!=!y  !!x==!!y  !x&!y  !x|!y  !x^!y  !!x  !(x-y)  !(x^y)  !(x+A)
        (x<y)==(y<x)  (x<y)!=(x<=y)  (x<=y)&(y<=x)  (x<=y)&&(x>=y)  (x<y)|(x>y)  (x<y)||(x==y)
        (x<=y)&&(x!=y)  (x<y)&&(x!=y)  (x<y)||(x!=y)  (x>y)&(x!=y)  (x<=y)&(x==y)  (x<y)&(x<=y)
        (x<y)|(x<=y)  (x==y)|(x<=y)  (x!=y)|(x<=y)  (x!=y)^(x<y)  (x==y)^(x<y)  (x<=y)^(x<y)
        (x<y)^(x>y)  (x<y)^(y<=x)  (x<A)^(x<B)  (x<A)==(x<B)  (x==A)^(x==B)  (x==A)|(x==B)|(x==C)
        x==A||x==A+1||x==A+2  x!=A&&x!=A+1  x==P||x==0  x==0||x==-1  x==-1||x==-2  x==A||x==~A
        x>A&&x!=B  x<A||x==A  x<=A&&x!=A  x>=A&&x!=A  x!=A&&x>A  x<A&&x!=0  x>0&&x<A  x>=0&&x<A
        x>=0&&x<y  x<0||x>=y  x<0||x>A  x<y&&x<z  (x<y)&(x<z)  x>y||x>z  x==y&&x==z  x==y||x<y
        x<y?x==y:A  (x&1)&&(x&2)  (x&1)||(x&2)  (x&1)&&!(x&2)  !(x&1)&&!(x&2)  !(x&1)||!(x&2)
        (x&A)&&(y&A)  (x&A)||(y&A)  (x&P)&&(y&P)  (x&P)==(y&P)  (x&P)!=(y&P)  (x&M)==0&&(y&M)==0
        (x==0)*A  (x!=0)*y  (x==y)*A+(x!=y)*B  A-(x<y)  A+(x<y)  x-(x<0)  x+(x>0)  x+(y!=0)  x-!y
        x*A==y*A  x*A<y*A  x*A==0  x*y==0  x*x<0  x*A!=B  (x/A)==0  (x/A)!=0  (x/A)==B  (x/A)<B
        (x/A)>B  (x/P)==0  (x%P)==0  (x%A)==0  (x%P)==A  (x%P)<A  (x%P)!=0&&x<0  x/y==0  (x%y)==0
        (x/A)==(y/A)  x/2==0  x/2>0  (x/2)*2==x  x%2==1  x%2==-1  x%2>0  x/A<=x  (I)x/A<(I)x""",
    "choices": """x<0?-x:x  x>0?x:-x  x<0?x:-x  x<0?0:x  x>0?x:0  x<0?0:x>A?A:x  x<A?A:x>B?B:x  x>A?x:A
        x<y?x:y  x>y?x:y  x<y?y:x  (x<y?x:y)<y  (x<y?x:y)==x  (x<y?x:y)<=x  (x<y?x:y)<z
        (x<y?x:y)+(x<y?y:x)  (x<y?x:y)*(x<y?y:x)  (x<A?x:A)<B  (x<A?x:A)==A  (x<A?x:A)+B
        ((x<A?x:A)<B?(x<A?x:A):B)  (~x<~y?~x:~y)  (-x<-y?-x:-y)  (x+A<y+A?x+A:y+A)  ~(~x<y?~x:y)
        x<y?x-y:y-x  x>y?x-y:y-x  x>y?x-y:0  x<y?0:x-y  x>A?x-A:0  x<A?0:x-A  x-(x<y?x:y)
        x+y<x?-1:x+y  x>~y?-1:x+y  x==A?A:x  x==y?y:x  x!=y?x:y  x==0?0:x  x==0?0:-x  x==0?0:x*y
        x==0?0:x&y  x==0?y:x|y  x!=0?x|y:y  x==0?0:x<<k  x==A?B:x==A?C:y  x?y:0  x?0:y  x?y:1
        x?-1:0  x?0:-1  x?1:-1  x?A:A+1  x?A:A-1  x?P:0  x?0:P  x?A:~A  x?A:-A  x<0?A:B  x<0?1:-1
        x<0?-1:1  x<0?P:0  x<0?y:0  x<0?0:y  x>=0?y:0  x<0?~x:x  x<0?x+A:x  x<0?x+M:x  x<0?-A:A
        x?y:y+1  x?y+1:y  x?y-1:y  x?y|P:y  x?y|P:y&~P  x?y&~P:y  x?y^P:y  x?y:~y  x?~y:y  x?-y:y
        x?y:-y  x?y<<k:y  x?y*A:y  x?y+z:y  x?y-z:y  x?y|z:y  x?y&z:y  x?y^z:y  x?y*z:y  x?y>>z:y
        x?y+z:y-z  x?y+A:z+A  x?y&A:z&A  x?y+A:y+B  x?y|A:y|B  x?y<<k:y<<n  x?~y:~z  x?-y:-z  x?(i)y:(i)z
        x?(s)y:(s)z  x?y<z:z<y  x?y<A:y<B  x?y==z:y!=z  x?y:x  x?x:y  x?x==0:y  x?!x:y  !x?x:y
        (x?A:B)==A  (x?A:B)+C  (x?A:B)*C  (x?A:B)&C  (x?A:B)<<k  (x?A:0)|(x?B:0)  (x?y:0)|(x?0:z)
        (x?y:0)+(x?0:z)  (x?y:0)&(x?z:0)  (x?y:z)+(x?z:y)  (x?y:z)^(x?y:z)  (x?y:z)==y  (x?y:z)!=z
        x?(y?A:B):B  x?(y?A:B):A  x?A:(y?A:B)  x?(y?A:B):(y?B:A)  x?y?A:B:y?C:B  x<y?(x<y?A:B):C
        x<y?(y<x?A:B):C  x==y?(x<y?A:B):C  x&&y?A:B  x||y?A:B  x&&y?y:0  x||y?x:0  !(x&&y)?A:B
        x==A?B:x  x==A?0:x-A  x==A?0:x^A  x>A?B:C  x>=A?x:x+A  (x&P)?P:0  (x&P)?0:P  (x&P)?Q:0
        (x&P)?0:Q  (x&1)?-1:0  (x&P)?-1:0  (x&P)?y|Q:y  (x&P)?y|P:y  (x>>k&1)?A:0  x<0?M:0  x>=0?1:0""",
    "sums": """x*y+x*z  x*y-x*z  x*y+y  x*y-y  x*(y+1)  x*(y-1)  x*y+x  (x+y)*(x+y)-(x-y)*(x-y)
        (x+y)-(x-y)  (x+y)+(x-y)  (x-y)+(y-x)  (x-y)+(z-x)  (x+A)*B  (x+A)*B-A*B  x*A-x*B  x*A+B*A
        -(x*A)  -x*A  -(x*y)  -x*-y  -x*y  (-x)&1  (-x)&x  x&-x  x&(x-1)  x|(x-1)  x^(x-1)  ~x&(x-1)
        ~x|(x-1)  x&~(x-1)  x&(x+1)  x|(x+1)  ~x&(x+1)  ~x+x  ~x-y  x-~y  x+~y  x+~y+1  x-y-1  ~(x-1)
        ~(x+1)  ~-x  -~x  ~(x-y)  ~(x+y)  ~(y-~x)  -(x+A)  -(A-x)  -(~x)  A-~x  ~x+A  ~(A-x)  ~x*A
        (x^-1)+1  (x|y)+(x&y)  (x^y)+2*(x&y)  (x|y)-(x^y)  x+y-(x|y)  x+y-(x&y)  x+y-2*(x&y)
        x+(y^-1)  x-(x|y)  x-(x&y)  (x&y)-y  x-(x/A)*A  x-x%A  x-x%P  x%P+x/P*P  x/P*P  x/A*A+x%A
        (x+M)/P*P  (x+M)&~M  (x+P-1)/P  x-(x&M)  x-(x&~M)  (x&~M)+(x&M)  (x&~M)|(x&M)  (x|M)+1  (x|M)-M
        (x|M)-x  x*P/P  x*A/A  x*P%P  x*A%A  x/A/B  x/P/Q  x%P%Q  x%A%A  x%P*A  x/P>>k  x>>k/P
        (x-y)*A+y*A  (x-y)*-1  (x+y)*0  x/x  x/-1  x/-A  x%-A  -x/A  -x%A  (x&M)/P  (x&M)%P  (x<<k)/P
        (x<<k)%P  (x*P)/Q  1/x  x/(1<<y)  (I)x/(1<<y)  (I)x%(1<<y)  x*(1<<y)  x%(1<<y)  (x>>k)*P
        x+x+x  x+x*A  x-x*A  x*A-x  x<<k+x  (x<<k)+x  (x<<k)-x  (x<<k)+(x<<n)  (x<<k)-(x<<n)
        x+y+A-y  A-(x+B)  (A-x)-(B-y)  (x+A)-(y+B)  (A-x)+(B-y)  (x+A)^B  (x^P)+P  (x+P)^P  (x^A)+A""",
    "floats": """(f)x<(f)y  (f)x==0  (i)(f)x  (f)x+(f)y  (i)((f)x+A)  (f)x*1  f-f  f+0  f*1  f*0  -f*-g
        f-g<0  f<g?f:g  f<g?g:f  f<0?-f:f  f==g  f!=f  -(f-g)  f/2  f*2/2  f+g-g  -f+g  f--g  -f==A
        f>g||f<g  f>g&&f<g  !(f<g)  f<g&&g<f  f<g||f==g  (i)f==A  (f<g)*A  x?f:0  x?f:g  x<y?f:f""",
}

TYPES = ["int", "unsigned", "short", "unsigned short"]
CASTS = {"c": "char16", "C": "uchar16", "s": "short", "S": "unsigned short", "i": "int", "I": "unsigned",
         "f": "float"}
# The arithmetic of a program that minds overflow.
SAFE = """
#define sadd(a,b) ((((a)>0&&(b)>0&&(a)>2147483647-(b))||((a)<0&&(b)<0&&(a)<(-2147483647-1)-(b)))?(a):(a)+(b))
#define ssub(a,b) ((((a)^(b))&((((a)^(((a)^(b))&(~2147483647)))-(b))^(b)))<0?(a):(a)-(b))
#define sneg(a) ((a)==(-2147483647-1)?(a):-(a))
#define sshl(a,b) ((a)<0||(int)(b)<0||(int)(b)>=32||(a)>(2147483647>>(int)(b))?(a):(a)<<(int)(b))
#define sshr(a,b) ((a)<0||(int)(b)<0||(int)(b)>=32?(a):(a)>>(int)(b))
#define ushl(a,b) ((unsigned)(b)>=32u||(a)>(4294967295u>>(unsigned)(b))?(a):(a)<<(unsigned)(b))
#define sdiv(a,b) ((b)==0||((a)==(-2147483647-1)&&(b)==-1)?(a):(a)/(b))
#define smod(a,b) ((b)==0||((a)==(-2147483647-1)&&(b)==-1)?(a):(a)%(b))
#define udiv(a,b) ((b)==0?(a):(a)/(b))
"""


def constant(rng):
    choices = [0, 1, 2, 3, 4, 5, 7, 8, 10, 12, 15, 16, 31, 100, 127, 128, 255, 256, 1000, 32767, 65535]
    value = rng.choice(choices)
    return f"({-value})" if rng.random() < 0.15 and value else str(value)


class Namer:
    """What the letters of a shape stand for, the same in all places of one letter."""

    def __init__(self, rng):
        self.rng = rng
        self.meaning = {}
        self.types = {}

    def letter(self, letter, is_cast):
        if letter in "ABC" and not is_cast:
            return self.meaning.setdefault(letter, constant(self.rng))
        if is_cast:
            name = self.meaning.setdefault("cast" + letter, CASTS.get(letter) or self.rng.choice(TYPES))
            return name
        if letter in "PQ":
            return self.meaning.setdefault(letter, str(1 << self.rng.choice([0, 1, 2, 3, 4, 7, 8, 12, 15])))
        if letter == "M":
            return self.meaning.setdefault(letter, str((1 << self.rng.choice([1, 2, 3, 4, 8, 12, 15])) - 1))
        if letter in "kmn":
            return self.meaning.setdefault(letter, str(self.rng.choice([1, 2, 3, 4, 8, 12, 16, 24, 31])))
        if letter in "fgh":
            self.types[letter] = "float"
            return letter
        if letter in "xyz":
            self.types.setdefault(letter, self.rng.choice(["int"] * 4 + ["unsigned"] * 3 + ["short", "unsigned short"]))
            return letter
        return None

    def instance(self, shape):
        """The shape as C; None when it has letters of another kind (pointers)."""
        out, at = [], 0
        while at < len(shape):
            is_cast = shape[at] == "(" and at + 2 < len(shape) and shape[at + 2] == ")" and shape[at + 1].isalpha() \
                and (shape[at + 1] in "csSiIftv" or (shape[at + 1] == "C")) and at + 3 < len(shape) \
                and (shape[at + 3].isalnum() or shape[at + 3] in "(~-")
            if is_cast:
                out.append(f"({self.letter(shape[at + 1], True)})")
                at += 3
                continue
            character = shape[at]
            if character.isalpha():
                character = self.letter(character, False)
                if character is None:
                    return None
            out.append(character)
            at += 1
        return "".join(out)


def substituted(outer, inner, rng):
    """The outer shape with the inner one in the place of one of its variables."""
    places = sorted(set(re.findall(r"[xyz]", outer)))
    if not places or "f" in inner:
        return outer
    return outer.replace(rng.choice(places), f"({inner})")


def generated_shape(rng, depth):
    """An expression as a program generator writes it."""
    if depth == 0 or rng.random() < 0.15:
        return rng.choice(["x", "x", "y", "z", "A", "B"])
    a, b = generated_shape(rng, depth - 1), generated_shape(rng, depth - 1)
    kind = rng.random()
    if kind < 0.2:
        return f"({a})" + rng.choice(["<", "<=", ">", ">=", "==", "!="]) + f"({b})"
    if kind < 0.45:
        return f"({a})" + rng.choice("+-*&|^&|^") + f"({b})"
    if kind < 0.55:
        return rng.choice("~-!") + f"({a})"
    if kind < 0.65:
        return f"({a})" + rng.choice(["&&", "||"]) + f"({b})"
    if kind < 0.75:
        return rng.choice(["(s)", "(S)", "(i)", "(I)"]) + f"({a})"
    if kind < 0.82:
        return f"({a})" + rng.choice(["<<k", ">>k", "&M"])
    if kind < 0.9:
        return f"({a})?({b}):({generated_shape(rng, depth - 1)})"
    # @ names are calls of SAFE, kept from being read as letters
    return rng.choice(["@0", "@1", "@4", "@5", "@6", "@7"]) + f"[{a};{b}]"


CALLS = {"@0": "sadd", "@1": "ssub", "@4": "sshr", "@5": "ushl", "@6": "sdiv", "@7": "smod"}


def functions(seed, count):
    """(group, shape, C expression, parameters) for `count` functions."""
    rng = random.Random(seed)
    patterns = re.findall(r'"([^"]*)"', re.sub(r"//.*", "", (ROOT / "tests/simp/patterns.def").read_text()))
    groups = {name: shapes.split() for name, shapes in SHAPES.items()}
    groups["patterns"] = patterns
    everything = [shape for shapes in groups.values() for shape in shapes if not re.search("[fghpq]", shape)]
    found, seen = [], set()
    while len(found) < count:
        kind = rng.random()
        if kind < 0.6:
            group = rng.choice([g for g in groups for _ in range(len(groups[g]))])
            shape = rng.choice(groups[group])
        elif kind < 0.85:
            group = "two shapes"
            shape = substituted(rng.choice(everything), rng.choice(everything), rng)
        else:
            group = "generated"
            shape = generated_shape(rng, rng.choice([2, 2, 3]))
        names = Namer(rng)
        text = names.instance(shape)
        if text is None or not names.types or text in seen:
            continue
        text = text.replace("--", "- -")
        for sign, call in CALLS.items():
            text = text.replace(sign, call)
        text = text.replace("[", "(").replace("]", ")").replace(";", ",")
        parameters = [(letter, names.types[letter]) for letter in sorted(names.types)]
        if (text, tuple(parameters)) in seen:
            continue
        seen.add((text, tuple(parameters)))
        result = "float" if any(t == "float" for _, t in parameters) else \
            rng.choice(["int"] * 3 + ["unsigned", "short", "unsigned short"])
        found.append((group, shape, text, parameters, result))
    return found


def costs_of(command):
    done = subprocess.run(command, check=True, capture_output=True, text=True)
    return {name: int(cost) for name, cost in (line.split() for line in done.stdout.splitlines())}


def compile_both(source, level):
    """(cost by function of quillopt, of LLVM); leaves the files beside the source."""
    icode, optimized = source.with_suffix(".ic"), source.with_suffix(".opt")
    bitcode, combined = source.with_suffix(".bc"), source.with_suffix(".ll")
    cc = OPTIONS.ic_cc or BIN / "ic-cc"
    subprocess.run([cc, "-o", icode, source], check=True)
    subprocess.run([BIN / "quillopt", f"--opt_level={level}", icode, optimized], check=True)
    subprocess.run([*CLANG, "-o", bitcode, source], check=True)
    subprocess.run(["opt-14", f"-passes={PASSES}", "-S", bitcode, "-o", combined], check=True)
    return costs_of([BIN / "ic-run", "--costs", optimized]), costs_of([BIN / "ir_count", "--costs", combined])


def bodies_of_llvm(text):
    bodies = {}
    for match in re.finditer(r"^define [^@]*@(\w+)\([^\n]*\n(.*?)^\}", text, re.M | re.S):
        lines = [line.strip() for line in match[2].splitlines() if line.strip() and not line.startswith(";")]
        bodies[match[1]] = "; ".join(line for line in lines if not line.endswith(":"))
    return bodies


def tree_text(words):
    """One tree of ic-dis as an expression; takes the words that it consumes."""
    word = words.pop(0)
    assert word == "(", word
    head = words.pop(0)
    op = head.split(":")[0]
    operands = []
    leaf = []
    while words[0] != ")":
        if words[0] == "(":
            operands.append(tree_text(words))
        else:
            leaf.append(words.pop(0))
    words.pop(0)
    if op in ("NAME", "ICON", "FCON"):
        return leaf[0].split("@")[0]
    if op in ("SCONV", "UMINUS", "NOTB", "ABS"):
        sign = {"UMINUS": "-", "NOTB": "~", "ABS": "abs "}.get(op) or f"({head.split(':', 1)[1].split('.')[0]})"
        return f"{sign}{operands[0]}"
    signs = {"PLUS": "+", "MINUS": "-", "MULT": "*", "DIV": "/", "MOD": "%", "ANDB": "&", "ORB": "|", "XORB": "^",
             "SLL": "<<", "SRL": ">>", "EQ": "==", "NEQ": "!=", "LT": "<", "GT": ">", "LE": "<=", "GE": ">=",
             "ULT": "U<", "UGT": "U>", "ULE": "U<=", "UGE": "U>=", "ANDAND": "&&", "OROR": "||", "QUEST": "?",
             "COLON": ":", "COMMA": ",", "ASG": "=", "RETURN": "return"}
    if op == "RETURN":
        return "return " + operands[-1]
    if len(operands) == 2 and op in signs:
        return f"({operands[0]} {signs[op]} {operands[1]})"
    return f"{op}[{' '.join(leaf)} {' '.join(operands)}]"


def bodies_of_ours(optimized):
    text = subprocess.run([BIN / "ic-dis", optimized], check=True, capture_output=True, text=True).stdout
    bodies = {}
    for match in re.finditer(r"^  function _(\w+).*?\n(.*?)^  endfunction", text, re.M | re.S):
        trees = re.sub(r"^    (sym|args|locals|info|comment).*\n", "", match[2], flags=re.M)
        words = re.findall(r"[()]|[^()\s]+(?:\([^()\s]*\))?", re.sub(r"@/\S+", "", trees))
        statements = []
        try:
            while words:
                if words[0] != "(":
                    statements.append(words.pop(0))
                else:
                    statements.append(tree_text(words))
        except (AssertionError, IndexError):
            statements = [" ".join(trees.split())]
        statements = [s for s in statements if not (s.startswith("(") and re.match(r"^\((\w+) = \1\)$", s)) and
                      not s.startswith("PCOMMA")]
        bodies[match[1]] = "; ".join(statements)
    return bodies


def geometric_mean(values):
    return math.exp(sum(map(math.log, values)) / len(values)) if values else float("nan")


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(prog="./quill bench rewrites", description=__doc__)
    parser.add_argument("--count", type=int, default=3000, help="functions (default 3000)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--level", type=int, default=3, help="level of quillopt (default 3)")
    parser.add_argument("--show", type=int, default=10, metavar="N", help="findings to print of each group")
    parser.add_argument("--ic-cc", metavar="FILE", help="another ic-cc than build/bin's")
    OPTIONS = parser.parse_args()
    OUT.mkdir(parents=True, exist_ok=True)
    made = functions(OPTIONS.seed, OPTIONS.count)
    source = OUT / "rewrites.c"
    lines = ["typedef short char16;", "typedef unsigned short uchar16;", SAFE]
    for number, (_, _, text, parameters, result) in enumerate(made):
        named = ", ".join(f"{type_} {name}" for name, type_ in parameters)
        lines.append(f"{result} e{number}({named}) {{ return {text}; }}")
    lines.append("int main(void) { return 0; }")
    source.write_text("\n".join(lines) + "\n")
    ours, llvm = compile_both(source, OPTIONS.level)
    ours_text = bodies_of_ours(source.with_suffix(".opt"))
    llvm_text = bodies_of_llvm(source.with_suffix(".ll").read_text())
    worse, ratios = {}, {}
    for number, (group, shape, text, parameters, result) in enumerate(made):
        name = f"e{number}"
        if "poison" in llvm_text.get(name, ""):  # it divides by zero
            continue
        ratios.setdefault(group, []).append(ours[name] / llvm[name])
        if ours[name] > llvm[name]:
            worse.setdefault(group, []).append(
                (len(text), ours[name] - llvm[name], text, parameters, result, name, shape))
    for group, findings in sorted(worse.items()):
        print(f"\n=== {group}: {len(findings)} of {len(ratios[group])} cost more")
        shapes = set()
        for _, more, text, parameters, result, name, shape in sorted(findings):
            if group not in ("generated", "two shapes") and shape in shapes:
                continue
            shapes.add(shape)
            if len(shapes) > OPTIONS.show:
                break
            types = ", ".join(f"{t} {n}" for n, t in parameters)
            print(f"+{more} {result} {name}({types}): {text}      [{shape}]")
            print(f"      ours {ours_text.get(name)}")
            print(f"      llvm {llvm_text.get(name)}")
    print(f"\nseed {OPTIONS.seed}: cost of quillopt's code over that of LLVM's, geometric mean; share that costs more")
    for group in sorted(ratios):
        more = len(worse.get(group, ()))
        print(f"  {group:14} {geometric_mean(ratios[group]):.3f}  {more / len(ratios[group]):.1%}")
    whole = [r for group in ratios.values() for r in group]
    print(f"  {'all':14} {geometric_mean(whole):.3f}  {sum(map(len, worse.values())) / len(whole):.1%}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
