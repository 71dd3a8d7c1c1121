"""What the program is to make of a scanner's records, worked out from the records themselves."""

from harness.settings import Settings

_OLDER = ["EAN 13", "EAN 8", "UPCA", "UPCE", "Code 39", "ITF-14", "Code 128", "I2of5", "CodaBar",
          "UCC/EAN-128", "Code 93", "Code 35", "Unknown", "Unknown", "Bookland EAN", "Unknown"]
_SERIES_300 = ["Code 32", "Trioptic", "Korea Post", "Aus. Post", "British Post", "Canada Post",
               "EAN-8", "UPC-E", "UCC/EAN-128", "Japan Post", "KIX Post", "Planet Code", "OCR",
               "Postnet", "China Post", "Micro PDF417", "TLC 39", "PosiCode", "Codabar", "Code 39",
               "UPC-A", "EAN-13", "I2of5", "IATA", "MSI", "Code 11", "Code 93", "Code 128",
               "Code 49", "Matrix2of5", "Plessey", "Code 16K", "Codablock F", "PDF417",
               "QR/Micro QR", "Telepen", "VeriCode", "Data Matrix", "MaxiCode", "EAN/UCC", "RSS",
               "Aztec Code", "No Read", "HanXin Code", "Unknown"]
_RENUMBERED = {20: 10, 21: 11}  # on the older scanners
_DATA_DELIMITERS = ["", "\t", " ", ",", ";"]
_RECORD_DELIMITERS = ["", "\n", "\r", "\t", "\r\n"]
_ORDERS = ["NDT", "NTD", "DNT", "DTN", "TND", "TDN"]  # name, data, time
_ERASED = 0xFF


def _name(record, model):
    code = record.symbology & 0x3F
    if model == "300":
        return _SERIES_300[code]
    return _OLDER[_RENUMBERED.get(code, code)]


def _text(data):
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError:
        return data.decode("latin-1")


def line(record, settings=Settings(), serial="2104005771", model="old"):
    """The line of one record."""
    year, month, day = record.time[:10].split("-")
    fields = {"N": _name(record, model) if settings.attach_type else None,
              "D": _text(record.data),
              "T": f"[{year}/{month}/{day}:{record.time[11:]}]" if settings.attach_timestamp
              else None}
    parts = [fields[field] for field in _ORDERS[settings.data_order] if fields[field] is not None]
    if settings.attach_serial:
        parts.insert(0 if settings.serial_position == 0 else len(parts), serial[4:])
    return (_DATA_DELIMITERS[settings.data_delimiter].join(parts)
            + _RECORD_DELIMITERS[settings.record_delimiter])


def lines(records, settings=Settings(), serial="2104005771", model="old"):
    """All lines, one behind the other. A burst leaves erased slots out."""
    return "".join(line(record, settings, serial, model) for record in records
                   if record.symbology != _ERASED)


def folded(text):
    """A text as the view shows it: each of the three kinds of line end is one."""
    return text.replace("\r\n", "\n").replace("\r", "\n")
