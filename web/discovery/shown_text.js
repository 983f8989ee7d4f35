// The form in which a text from the network is shown: without unsafe characters, and cut to a
// line or two.

// Longer than any real name. Much longer texts would slow down a page of 2000 devices.
export const kLongestText = 200;

// Control characters, line ends, characters that reorder the text around them, some invisible
// ones, and lone surrogates.
const kUnsafe =
    /[\p{Cc}\p{Cs}\p{Bidi_Control}\u2028\u2029\ufeff\ufff9-\ufffb\u{e0000}-\u{e007f}]/gu;
const kBlank = /^[\s\p{Default_Ignorable_Code_Point}\u2800]*$/u;

function clipped(text) {
    if (text.length <= kLongestText) {
        return text;
    }
    // A character outside the basic plane is two units; it is not cut in half.
    const end = kLongestText - 1;
    const isHalf = text.charCodeAt(end - 1) >= 0xd800 && text.charCodeAt(end - 1) <= 0xdbff;
    return text.slice(0, isHalf ? end - 1 : end) + '\u2026';
}

// Replaces unsafe characters by U+FFFD, and cuts a long text. Returns '' if no visible character
// would be left, and for a value that is not a text.
export function shownText(value) {
    if (typeof value !== 'string' || kBlank.test(value.slice(0, kLongestText))) {
        return '';
    }
    return clipped(value).replace(kUnsafe, '\ufffd');
}
