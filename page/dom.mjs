// Elements. Texts become text and never markup.

function filled(element, attributes, children) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on'))
            element.addEventListener(name.slice(2), value);
        else if (value !== null && value !== undefined && value !== false)
            element.setAttribute(name, value === true ? '' : value);
    }
    element.append(...children.flat(Infinity).filter(child => ![null, undefined, false, ''].includes(child)));
    return element;
}

export const html = (tag, attributes = {}, ...children) => filled(document.createElement(tag), attributes, children);
export const svg = (tag, attributes = {}, ...children) =>
    filled(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);

export const byId = id => document.getElementById(id);
