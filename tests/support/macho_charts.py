#!/usr/bin/env python3
"""Writes random charts, each as states that are types and as tables for an interpreter: macho_charts.py OUTPUT SEED...

Macho_model_test.cpp includes what it writes and says what Top, Script, E<number>, Told and the tables are.
"""

import random
import sys

KINDS = ("To", "ToHistory", "ToDeepHistory", "ToAdapted")


class Chart:
    def __init__(self, seed):
        self.dice = dice = random.Random(seed)
        self.count = dice.randint(4, 11)  # with the root, which is 0
        self.events = dice.randint(2, 5)
        self.parents = [0] + [0 if i < 3 else dice.choice([0] + list(range(1, i)) * 2) for i in range(1, self.count)]
        children = [[c for c in range(1, self.count) if self.parents[c] == s] for s in range(self.count)]
        self.initial = [
            dice.choice(children[s]) if children[s] and (s == 0 or dice.random() < 0.75) else s for s in range(self.count)
        ]
        self.remembered = [s != 0 and bool(children[s]) and dice.random() < 0.7 for s in range(self.count)]
        self.kept = [s != 0 and dice.random() < 0.3 for s in range(self.count)]
        # what on() does: None, or (always, takes its super-state, [(kind, target)])
        self.entry = [self.action(0.4, 0.5) for s in range(self.count)]
        self.init = [self.action(0.3, 0.7) for s in range(self.count)]
        self.exit = [dice.random() < 0.8 for s in range(self.count)]
        self.handlers = [[self.handler(s) for e in range(self.events)] for s in range(self.count)]

    def way(self):
        target = self.dice.randint(1, self.count - 1)
        kinds = KINDS if self.remembered[target] else ("To", "ToAdapted")
        return self.dice.choice(kinds), target

    def action(self, asking, silent):
        draw = self.dice.random()
        ways = [self.way() for i in range(self.dice.randint(1, 2))]
        return None if draw < silent else (False, False, ways if self.dice.random() < asking else [])

    def handler(self, state):
        if state != 0 and self.dice.random() < 0.55:
            return None
        with_super = state != 0 and self.dice.random() < 0.4
        always = self.dice.random() < 0.5
        ways = [self.way() for i in range(1 if always else self.dice.randint(0, 3))]
        return always, with_super, list(dict.fromkeys(ways))


def name(state):
    return f"S{state}" if state else "Top"


def spelled(way):
    kind, target = way
    return f"Macho::{kind}<{name(target)}{', int' if kind == 'ToAdapted' else ''}>"


def body(action, log, choose):
    always, _, ways = action
    if not ways:
        return "void", f"{{ {log} }}"
    if always:
        data = "top.script.given()" if ways[0][0] == "ToAdapted" else ""
        return spelled(ways[0]), f"{{ {log} return {{{data}}}; }}"
    cases = "".join(
        f" case {i}: return {spelled(w)}({'top.script.given()' if w[0] == 'ToAdapted' else ''});" for i, w in enumerate(ways)
    )
    result = f"Macho::Next<{', '.join(dict.fromkeys(map(spelled, ways)))}>"
    return result, f"{{ {log} switch (top.script.{choose}({len(ways)})) {{{cases} default: return {{}}; }} }}"


def members(chart, state):
    top = "" if state == 0 else ", Top& top"
    alias = " [[maybe_unused]] Top& top = *this;" if state == 0 else ""
    lines = []
    for tag, action, mark in (("Entry", chart.entry[state], "+"), ("Initial", chart.init[state], "*")):
        if action:
            result, code = body(action, f'{alias} top.script.tell("{mark}", {state}, value);', "chooseInAction")
            lines.append(f"    {result} on(Macho::{tag}{top}) {code}")
    if chart.exit[state]:
        lines.append(f'    void on(Macho::Exit{top}) {{ {alias} top.script.tell("-", {state}, value); }}')
    for event, action in enumerate(chart.handlers[state]):
        if not action:
            continue
        parent = name(chart.parents[state])
        above = f", {parent}& super" if action[1] else ""
        log = f"{alias} top.script.tell(\"!\", {state}, ++value{' + 1000 * super.value' if action[1] else ''});"
        result, code = body(action, log, "choose")
        lines.append(f"    {result} on(const E<{event}>&{top}{above}) {code}")
    return lines


def table(action):
    if action is None:
        return "{false, false, false, {}}"
    always, with_super, ways = action
    ways = ", ".join(f"{{{target}, Macho::{'Entry' + {'To': 'Default', 'ToAdapted': 'Adapting'}.get(kind, kind[2:])}}}" for kind, target in ways)
    return f"{{true, {str(always).lower()}, {str(with_super).lower()}, {{{ways}}}}}"


def write(seed, out):
    chart = Chart(seed)
    states = range(1, chart.count)
    out(f"namespace chart{seed}\n{{")
    out("".join(f"struct {name(s)};\n" for s in states))
    out(
        f"struct Top : Macho::Root<Macho::Events<{', '.join(f'E<{e}>' for e in range(chart.events))}>, "
        f"Macho::States<{', '.join(map(name, states))}>, Macho::InitialState<{name(chart.initial[0])}>>\n{{"
    )
    out("    Script script;\n    int value = 0;")
    out("\n".join(members(chart, 0)) + "\n};")
    for state in states:
        options = [name(chart.parents[state])]
        if chart.initial[state] != state:
            options.append(f"Macho::InitialState<{name(chart.initial[state])}>")
        options += ["Macho::Remembered"] * chart.remembered[state] + ["Macho::Kept"] * chart.kept[state]
        out(f"struct {name(state)} : Macho::State<{', '.join(options)}>, Told\n{{\n    using Told::Told;")
        out("\n".join(members(chart, state)) + "\n};")
    out("const std::vector<ModelState> model = {")
    for s in range(chart.count):
        flags = ", ".join(str(flag).lower() for flag in (chart.remembered[s], chart.kept[s], chart.exit[s]))
        handlers = ", ".join(map(table, chart.handlers[s]))
        out(
            f"    {{{chart.parents[s]}, {chart.initial[s]}, {flags}, {table(chart.entry[s])}, {table(chart.init[s])}, "
            f"{{{handlers}}}}},"
        )
    out(f"}};\n}} // namespace chart{seed}\n")


def main():
    output, seeds = sys.argv[1], sys.argv[2:]
    with open(output, "w", encoding="utf-8") as file:
        out = lambda text: print(text, file=file)
        for seed in seeds:
            write(int(seed), out)
        out("using Charts = ::testing::Types<" + ", ".join(f"Subject<chart{s}::Top, chart{s}::model>" for s in seeds) + ">;")


if __name__ == "__main__":
    main()
