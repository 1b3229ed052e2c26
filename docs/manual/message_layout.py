"""Takes a message apart by the schema: what each of its bytes is.

Written from the format's description, apart from the library's own reading and building.
"""

import dataclasses
import re
import struct

SCALARS = {"bool": "<B", "uint8": "<B", "ubyte": "<B", "uint32": "<I", "float": "<f"}


@dataclasses.dataclass
class Region:
    """Some bytes of a message with one meaning, in a part of the message that has a name."""

    start: int
    end: int
    part: str
    meaning: str


def read_schema(text):
    """The fields of each table, struct and union, as (name, type) in the order of the schema."""
    text = re.sub(r"//.*", "", text)
    types = {}
    for kind, name, body in re.findall(r"(table|struct|union)\s+(\w+)\s*\{([^}]*)\}", text):
        if kind == "union":
            fields = [(member.strip(), None) for member in body.split(",") if member.strip()]
        else:
            fields = re.findall(r"(\w+)\s*:\s*([\[\]\w]+)\s*;", body)
        types[name] = (kind, fields)
    return types


def slots(types, table):
    """A table's slots: a union takes two, its type and its value."""
    for name, kind in types[table][1]:
        if kind in types and types[kind][0] == "union":
            yield name + "_type", "uint8", kind
            yield name, kind, kind
        else:
            yield name, kind, None


class Layout:
    def __init__(self, types, data):
        self.types = types
        self.data = data
        self.regions = []
        self.vtables = set()

    def number(self, form, at):
        return struct.unpack_from(form, self.data, at)[0]

    def add(self, start, size, part, meaning):
        self.regions.append(Region(start, start + size, part, meaning))

    def follow(self, at, part, what):
        """An offset: the position that it leads to."""
        target = at + self.number("<I", at)
        self.add(at, 4, part, f"{what}: at {at} + {target - at} = {target}")
        return target

    def root(self, table):
        self.table(self.follow(0, "start", f"the {table}"), table)

    def vtable(self, at, table):
        if at in self.vtables:
            return
        self.vtables.add(at)
        part = f"vtable of {table}"
        size = self.number("<H", at)
        self.add(at, 2, part, f"this vtable has {size} bytes")
        self.add(at + 2, 2, part, f"its table has {self.number('<H', at + 2)} bytes")
        names = [name for name, _, _ in slots(self.types, table)]
        absent = []
        for slot in range((size - 4) // 2):
            place = self.number("<H", at + 4 + 2 * slot)
            if place == 0:
                absent.append(slot)
                continue
            self.add_absent(at, part, absent)
            absent = []
            self.add(at + 4 + 2 * slot, 2, part, f"slot {slot}, {names[slot]}: {place} bytes into the table")
        self.add_absent(at, part, absent)

    def add_absent(self, at, part, absent):
        if absent:
            which = f"slot {absent[0]}" if len(absent) == 1 else f"slots {absent[0]} to {absent[-1]}"
            self.add(at + 4 + 2 * absent[0], 2 * len(absent), part, f"{which}: absent")

    def table(self, at, table):
        vtable = at - self.number("<i", at)
        self.vtable(vtable, table)
        where = f"{at - vtable} bytes before" if vtable < at else f"{vtable - at} bytes after"
        self.add(at, 4, table, f"its vtable is {where}, at {vtable}")
        entries = (self.number("<H", vtable) - 4) // 2
        member = None
        for slot, (name, kind, union) in enumerate(slots(self.types, table)):
            place = self.number("<H", vtable + 4 + 2 * slot) if slot < entries else 0
            if place == 0:
                continue
            if union and kind == "uint8":
                number = self.number("<B", at + place)
                member = self.types[union][1][number - 1][0]
                self.add(at + place, 1, table, f"{name} = {number}: {member}")
            else:
                self.field(at + place, table, name, member if union else kind)

    def field(self, at, part, name, kind):
        if kind in SCALARS:
            value = self.number(SCALARS[kind], at)
            self.add(at, struct.calcsize(SCALARS[kind]), part, f"{name} = {value:g}")
        elif kind == "string":
            self.text(self.follow(at, part, name), name)
        elif kind.startswith("["):
            self.vector(self.follow(at, part, name), name, kind[1:-1])
        elif self.types[kind][0] == "struct":
            for member, scalar in self.types[kind][1]:
                self.field(at, f"{name}, a {kind}", member, scalar)
                at += struct.calcsize(SCALARS[scalar])
        else:
            self.table(self.follow(at, part, name), kind)

    def text(self, at, name):
        part = f"string {name}"
        length = self.number("<I", at)
        value = self.data[at + 4 : at + 4 + length].decode()
        self.add(at, 4, part, f"{length} characters")
        self.add(at + 4, length, part, f'"{value}"')
        self.add(at + 4 + length, 1, part, "its terminator")

    def vector(self, at, name, kind):
        part = f"vector {name}"
        length = self.number("<I", at)
        self.add(at, 4, part, f"{length} elements")
        for index in range(length):
            size = struct.calcsize(SCALARS[kind]) if kind in SCALARS else 4
            self.field(at + 4 + size * index, part, f"{name}[{index}]", kind)


def lay_out(types, data, root="CallMessage"):
    """The regions of a message in the order of their bytes; together they are all of it, once."""
    layout = Layout(types, data)
    layout.root(root)
    regions = []
    at = 0
    for region in sorted(layout.regions, key=lambda region: region.start):
        if region.start < at:
            raise ValueError(f"byte {region.start} has two meanings")
        if region.start > at:
            regions.append(Region(at, region.start, padding_part(regions, region), "padding"))
        if region.end > region.start:
            regions.append(region)
        at = region.end
    if at > len(data):
        raise ValueError("the message ends too early")
    if at < len(data):
        regions.append(Region(at, len(data), regions[-1].part, "padding"))
    return regions


def padding_part(regions, following):
    """Padding is shown with what it lies in: between two fields of a table, with the table."""
    return regions[-1].part if regions else following.part
