"""Break and watch points from Python, and what it is told of a run."""

import orvy

for plugin in ("Memory", "SparcV8", "Devices", "Board"):
    orvy.load_plugin(plugin)
orvy.exec("log-level error\nlog-disable-colours")
orvy.create("Board", "board")
print("no run", orvy.last_stop())
orvy.exec("load obj=board-memory file=types-5-O0.elf")

fact = orvy.set_break("fact", "n == 2", once=True)
line = orvy.set_break("types.c:115")
watch = orvy.set_watch("counter", condition="counter > 20", ignore=1, cpu="board-cpu0")
for each in orvy.breaks():
    print(each, each.kind, each.condition, each.ignore, each.once, each.enabled, each.cpu)
    for address, text in each.places:
        print("   ", hex(address), text)
for _ in range(3):
    print(orvy.run(1).name, orvy.last_stop())
print(fact, [each.hits for each in (line, watch)])
watch.condition = None
watch.cpu = None
watch.enabled = line.enabled = False
orvy.exec("run obj=board expect=halt")
print(orvy.last_stop().reason, watch.condition, watch.cpu, line == orvy.Break(line.id))
line.delete()
print(orvy.breaks())


def refused(function):
    try:
        function()
    except (orvy.Error, AttributeError) as error:
        print("refused:", error)
    else:
        print("taken")


refused(lambda: fact.hits)
refused(line.delete)
refused(lambda: orvy.set_break("nowhere"))
refused(lambda: orvy.set_break("main", "1 +"))
refused(lambda: orvy.set_watch("counter", "looks"))
refused(lambda: orvy.set_watch("3"))
refused(lambda: setattr(watch, "condition", "("))
refused(lambda: setattr(watch, "cpu", "board-uart"))
refused(lambda: setattr(watch, "ignore", -1))
