"""The durations that the benchmark programs print: a name, a round and nanoseconds, with tabs between."""


class Samples:
    """Durations by name; the rounds are also kept apart."""

    def __init__(self, text):
        self.rounds = {}
        for line in text.splitlines():
            name, number, *values = line.split("\t")
            self.rounds.setdefault(name, {}).setdefault(number, []).extend(map(int, values))

    def names(self):
        return list(self.rounds)

    def all(self, *names):
        """All durations of these, in ascending order."""
        return sorted(value for name in names for values in self.rounds[name].values() for value in values)

    def percentile(self, percent, *names):
        return percentile(self.all(*names), percent)

    def median(self, *names):
        return self.percentile(50, *names)

    def ratio(self, name, *others):
        """The median beside that of the others together."""
        return self.median(name) / self.median(*others)

    def ratio_of_rounds(self, name, *others):
        """The lowest and the highest ratio of one round."""
        ratios = []
        for number in self.rounds[name]:
            other = sorted(value for one in others for value in self.rounds[one][number])
            ratios.append(percentile(sorted(self.rounds[name][number]), 50) / percentile(other, 50))
        return min(ratios), max(ratios)


def percentile(ascending, percent):
    """Between two values, in proportion."""
    place = (len(ascending) - 1) * percent / 100
    low = int(place)
    high = min(low + 1, len(ascending) - 1)
    return ascending[low] + (ascending[high] - ascending[low]) * (place - low)
