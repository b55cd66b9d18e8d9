"""Misuse from Python: log callbacks added and removed, the interpreter ending with one attached, odd file
names, and documents nested far too deep."""
import os
import subprocess
import sys

import numpy as np
import pytest


def test_a_callback_sink_is_called_and_removed_with_the_interpreter_lock(vela):
    logger = vela.TarnLogger.get_instance()
    name = vela.LOGGER_NAME.TRACKING
    logger.registerLogger(name, vela.LOG_LEVEL.WARNING, False)
    received = []

    def callback(level, text):
        received.append(text)
        logger.flush()  # from the logger's own thread: returns at once
        if text == "remove":
            logger.removeSink(name, sink)

    sink = logger.addCallbackSink(name, callback)
    for text in ("one", "remove", "after"):
        logger.log(name, vela.LOG_LEVEL.ERROR, text)
    logger.flush()
    assert received == ["one", "remove"]
    assert not logger.removeSink(name, sink)
    del callback
    # A sink removed from Python releases its callable at once.
    sink = logger.addCallbackSink(name, lambda level, text: received.append(text))
    logger.log(name, vela.LOG_LEVEL.ERROR, "two")
    logger.flush()  # removal takes effect at once: a message still queued would not reach the sink
    assert logger.removeSink(name, sink)
    assert received[-1] == "two"


def test_the_interpreter_may_end_with_a_callback_sink_attached(vela):
    script = (
        "import vela\n"
        "logger = vela.TarnLogger.get_instance()\n"
        "logger.addCallbackSink(vela.LOGGER_NAME.VELA, lambda level, text: print('seen', text))\n"
        "for i in range(2000):\n"
        "    logger.log(vela.LOGGER_NAME.VELA, vela.LOG_LEVEL.ERROR, 'message %d' % i)\n"
    )
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, timeout=120)
    assert done.returncode == 0, done.stderr.decode(errors="replace")


def test_paths_are_str_bytes_or_path_like_and_refuse_null_bytes(vela, tmp_path):
    depth = vela.Mat.from_numpy(np.full((2, 3), 1.5, np.float32))
    folder = os.fsencode(tmp_path)
    undecodable = os.path.join(folder, b"depth-\xff.pfm")
    assert depth.write(undecodable) == vela.ERROR_CODE.SUCCESS
    assert os.path.exists(undecodable)
    # The same name as Python spells it in str.
    assert vela.Mat().read(os.fsdecode(undecodable)) == vela.ERROR_CODE.SUCCESS
    assert depth.write(tmp_path / "depth.pfm") == vela.ERROR_CODE.SUCCESS
    assert depth.write(str(tmp_path / "depth2.pfm")) == vela.ERROR_CODE.SUCCESS
    for bad in (str(tmp_path / "a\0b.pfm"), os.path.join(folder, b"a\0b.pfm")):
        with pytest.raises(ValueError, match="null"):
            depth.write(bad)
    assert sorted(os.listdir(folder)) == [b"depth-\xff.pfm", b"depth.pfm", b"depth2.pfm"]


def test_a_document_nested_too_deep_is_refused(vela):
    params = vela.CommunicationParameters()
    deep = '{"CommunicationParameters": ' + "[" * 100000 + "]" * 100000 + "}"
    assert not params.decode(deep, vela.SERIALIZATION_FORMAT.JSON)
    assert params == vela.CommunicationParameters()
