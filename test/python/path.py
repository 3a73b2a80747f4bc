import os
import sys

print(os.path.realpath(sys.path[-4]) == os.path.realpath("../../../share/orvy/wrappers/Python"))
print(sys.path[-3:])
