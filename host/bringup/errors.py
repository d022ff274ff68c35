"""What ends bring-up with one line for its user."""


class BringupError(Exception):
    """The device cannot be brought up or reached; the message is one line for the user."""

    status = 1


class BadInput(BringupError):
    """An option, a source or a file of the user's is wrong."""

    status = 2
