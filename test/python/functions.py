import orvybuiltin


def show(*words, **options):
    print("show", words, options)
    return len(words)


def raises(*words):
    raise ValueError(words)


for name, function in {
    "py-show": show,
    "py-none": lambda *words: None,
    "py-text": lambda *words: "text",
    "py-true": lambda *words: True,
    "py-class": lambda *words: int,
    "py-huge": lambda *words: 1 << 80,
    "py-wrapped": lambda *words: 1 << 32,
    "py-raises": raises,
    "memory-read": show,
}.items():
    print(name, orvybuiltin.addCommand(name, function, {"ignored": 1}))
