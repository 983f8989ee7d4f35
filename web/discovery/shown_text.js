// How a text from the network is shown: as it is as far as that is safe, and never
// longer than a line or two.

// Far above any real name, far below what would slow a page of 2000 devices.
export const kLongestText = 200;

// What would be invisible or would reorder the text around it, lone surrogates included.
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

// In place of characters that do not show themselves there is U+FFFD. A text in which
// nothing is to be seen is empty, and so is what is no text.
export function shownText(value) {
    if (typeof value !== 'string' || kBlank.test(value.slice(0, kLongestText))) {
        return '';
    }
    return clipped(value).replace(kUnsafe, '\ufffd');
}
