// IPv4 addresses in dotted text.

const kByte = '(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])';
// No leading zeros: browsers read those as octal, people as decimal.
const kDottedQuad = new RegExp(`^${kByte}\\.${kByte}\\.${kByte}\\.${kByte}$`);

// The address as a number, for sorting; NaN for any other text.
export function addressNumber(address) {
    const bytes = kDottedQuad.exec(address);
    return bytes ? bytes.slice(1).reduce((number, byte) => number * 256 + Number(byte), 0) : NaN;
}

export function isAddress(text) {
    return kDottedQuad.test(text);
}
