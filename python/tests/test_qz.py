"""Tests of the installed qz package: what a careless caller gets instead of a
silently different value, and the context managers around a real run.

    python -m unittest test_qz      (QZ_TEST_ENDPOINT=host:port/path for the run)
"""

import ctypes
import os
import unittest

import qz

COMPANY = "9531985D-5D9D-49F8-9818-E811892F902B"
APPLICATION = "36F675CC-81E7-4EF5-A8E2-5D940ED90475"
LONG_BITS = 8 * ctypes.sizeof(ctypes.c_long)


class ValuesTest(unittest.TestCase):
    def test_integers_that_do_not_fit_raise_instead_of_wrapping(self):
        with qz.ExtendedKeys() as keys, qz.FlowController() as flow, \
                qz.BinaryInfo() as binary, qz.Configuration() as config:
            for value in (2 ** 31, -2 ** 31 - 1, 2 ** 40):
                with self.assertRaises(OverflowError):
                    keys.add_int("k", value)
            keys.add_int("k", 2 ** 31 - 1)
            keys.add_int("k", -2 ** 31)
            with self.assertRaises(OverflowError):
                keys.add_long("k", 2 ** (LONG_BITS - 1))
            keys.add_long("k", 2 ** (LONG_BITS - 1) - 1)
            for setter in (flow.set_maximum_interval, flow.set_gain):
                with self.assertRaises(OverflowError):
                    setter(-1)
                with self.assertRaises(OverflowError):
                    setter(2 ** 32)
            with self.assertRaises(OverflowError):
                binary.set_modified_date(-1)
            with self.assertRaises(OverflowError):
                binary.set_modified_date(2 ** 64)
            with self.assertRaises(OverflowError):
                config.set_endpoint_timeout(2 ** 63)
            with self.assertRaises(OverflowError):
                keys.add_float("k", 1e39)
            keys.add_float("k", float("inf"))
            with self.assertRaises(OverflowError):
                qz.set_log_level(2 ** 31)

    def test_values_of_the_wrong_type_raise(self):
        with qz.ExtendedKeys() as keys, qz.Configuration() as config, qz.BinaryInfo() as binary:
            with self.assertRaises(TypeError):
                keys.add_int("k", 1.5)
            with self.assertRaises(TypeError):
                keys.add_int("k", "1")
            with self.assertRaises(TypeError):
                keys.add_string("k", None)
            with self.assertRaises(TypeError):
                config.set_company_id(b"9531985D-5D9D-49F8-9818-E811892F902B")
            with self.assertRaises(TypeError):
                qz.feature_tick(None)
            # One object for another would have the library read the wrong memory.
            with self.assertRaises(TypeError):
                qz.application_start(config, keys=binary)
            with self.assertRaises(TypeError):
                qz.feature_tick("Export", None, keys)

    def test_a_nul_in_a_text_raises_instead_of_cutting_it(self):
        with qz.ExtendedKeys() as keys, qz.Configuration() as config:
            with self.assertRaises(ValueError):
                keys.add_string("title", "before\0after")
            with self.assertRaises(ValueError):
                keys.add_string("a\0b", "value")
            with self.assertRaises(ValueError):
                config.set_application_name("Editor\0")
            with self.assertRaises(ValueError):
                qz.feature_tick("Export\0Import")
            keys.add_string("title", "Jahresbericht \u00fcber M\u00e4rkte \U0001F600")

    def test_a_closed_object_raises(self):
        keys = qz.ExtendedKeys()
        keys.close()
        keys.close()
        self.assertTrue(keys.closed)
        with self.assertRaises(ValueError):
            keys.add_int("k", 1)
        with self.assertRaises(ValueError):
            qz.feature_tick("Export", None, None, keys)
        with qz.Configuration() as config:
            pass
        with self.assertRaises(ValueError):
            config.set_company_id(COMPANY)

    def test_identifiers_are_checked_by_the_library(self):
        with qz.Configuration() as config:
            self.assertTrue(config.set_default_ids("D23F0824-128B-4F33-8C5C-7FD0A6A3A450",
                                                   "6513270E-269E-4D37-B2A7-4DE452E6B438"))
            self.assertFalse(config.set_default_ids("not a GUID", "not a GUID either"))

    def test_the_getters_read_what_the_library_stored(self):
        with qz.Configuration() as config, qz.FlowController() as flow, \
                qz.BinaryInfo() as binary, qz.ExceptionInfo() as info:
            config.set_company_id(COMPANY.lower())
            config.set_application_id("not a GUID")
            config.set_company_name("Example & Sons \u00fc")
            config.set_endpoint_timeout(-5)
            config.set_initial_opt_in(False)
            config.set_offline_storage_limit(2**64 - 1)
            self.assertEqual(2**64 - 1, config.get_offline_storage_limit())
            self.assertEqual(COMPANY, config.get_company_id())
            self.assertEqual("", config.get_application_id())
            self.assertEqual("Example & Sons \u00fc", config.get_company_name())
            self.assertEqual(10000, config.get_endpoint_timeout())
            self.assertFalse(config.is_opt_in())
            self.assertTrue(config.is_use_ssl())
            flow.set_queue_size(0)
            flow.set_retry_timeout(-1)
            self.assertEqual((3, 2, 0), (flow.get_queue_size(), flow.get_high_water(),
                                         flow.get_retry_timeout()))
            binary.set_modified_date(1000)
            self.assertEqual((1000, "1970-01-01T00:00:01.000Z"),
                             (binary.get_modified_date(), binary.get_modified_date_string()))
            info.set_event_type(qz.EVENT_THROWN)
            info.set_user_comment("  trimmed ")
            self.assertEqual((300, "thrown", "trimmed"), (info.get_event_type(),
                                                          info.get_event_type_string(),
                                                          info.get_user_comment()))


@unittest.skipUnless(os.environ.get("QZ_TEST_ENDPOINT"), "QZ_TEST_ENDPOINT is not set")
class RunTest(unittest.TestCase):
    def test_the_context_managers_start_and_stop_in_pairs(self):
        with qz.Configuration() as config:
            config.set_company_id(COMPANY)
            config.set_application_id(APPLICATION)
            config.set_endpoint_location(os.environ["QZ_TEST_ENDPOINT"])
            config.set_support_offline_storage(False)
            session = "6B0D549B-6F03-475A-9600-A35A099950D8"
            with self.assertRaises(RuntimeError):
                with qz.run(config) as started:
                    self.assertTrue(started)
                    self.assertIsNotNone(qz.get_message_group())
                    with qz.session(session), qz.feature("Export", session):
                        raise RuntimeError("the host's own failure")
            # The exception did not leave the run behind.
            self.assertFalse(qz.is_application_started())
            self.assertIsNone(qz.get_message_group())


if __name__ == "__main__":
    unittest.main()
