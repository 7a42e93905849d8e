"""Columns of paths as the library takes them: one buffer of bytes, and where each path begins."""

from typing import Any

import numpy as np


class Paths:
    """Path i stands in buffer[offsets[i]:offsets[i + 1]]; `offsets` holds one number more than there
    are paths. Both are numpy arrays, of uint8 and int64."""

    def __init__(self, buffer: Any, offsets: Any):
        self.buffer = np.frombuffer(buffer, dtype=np.uint8)
        self.offsets = np.ascontiguousarray(offsets, dtype=np.int64)
        ends = self.offsets
        if len(ends) == 0 or ends[0] < 0 or ends[-1] > len(self.buffer) or (np.diff(ends) < 0).any():
            raise ValueError(
                "expected offsets into the buffer, one more than there are paths, none smaller than "
                "the one before it; came others"
            )

    def __len__(self) -> int:
        return len(self.offsets) - 1

    def __getitem__(self, key: Any) -> Any:
        """The bytes of a path, or, for a slice without a step, Paths that share the buffer."""
        if isinstance(key, slice):
            start, stop, step = key.indices(len(self))
            if step != 1:
                raise ValueError("expected a slice without a step")
            return Paths(self.buffer, self.offsets[start : max(start, stop) + 1])
        key = range(len(self))[key]
        return self.buffer[self.offsets[key] : self.offsets[key + 1]].tobytes()

    @classmethod
    def of(cls, values: Any) -> "Paths":
        """From a list, a numpy array or a column of pandas that holds texts or bytes. A text becomes
        UTF-8; what Python keeps of a file name that is not UTF-8 becomes the bytes that it was."""
        if isinstance(values, Paths):
            return values
        values = values.tolist() if hasattr(values, "tolist") else list(values)
        try:
            # All at once, with a zero byte between them, which hardly any path holds.
            joined = "\0".join(values).encode("utf-8", "surrogateescape")
        except TypeError:
            return cls._one_by_one(values)
        ends = np.flatnonzero(np.frombuffer(joined, dtype=np.uint8) == 0)
        if len(ends) != len(values) - 1:
            return cls._one_by_one(values)
        offsets = np.empty(len(values) + 1, dtype=np.int64)
        offsets[0] = 0
        offsets[1:-1] = ends - np.arange(len(ends))
        offsets[-1] = len(joined) - len(ends)
        return cls(joined.replace(b"\0", b""), offsets)

    @classmethod
    def _one_by_one(cls, values: list) -> "Paths":
        encoded = []
        for i, value in enumerate(values):
            if isinstance(value, str):
                value = value.encode("utf-8", "surrogateescape")
            if not isinstance(value, bytes):
                raise TypeError(f"expected texts or bytes as paths; came {value!r} in row {i}")
            encoded.append(value)
        lengths = np.fromiter(map(len, encoded), dtype=np.int64, count=len(encoded))
        return cls(b"".join(encoded), np.concatenate(([0], np.cumsum(lengths))))
